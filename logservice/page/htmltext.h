#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Returns \a text as text of an HTML page, also within a quoted attribute: no byte of it is taken for markup.
///
/// What is not UTF-8 and control characters other than line ends and tabs become U+FFFD; a line end of two characters
/// (CR LF) becomes one of one. What is longer than
/// \a maxBytes bytes is cut between two characters and ends in an ellipsis.
std::string htmlText(std::string_view text, std::size_t maxBytes = std::string_view::npos);
