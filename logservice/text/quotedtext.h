#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Returns \a text in double quotes, fit for one line of a terminal.
///
/// Control characters are written as \n, \r, \t or \xNN, quotes and backslashes get a backslash. What is longer than
/// \a maxBytes bytes is cut between two UTF-8 characters and ends in "...".
std::string quotedText(std::string_view text, std::size_t maxBytes = 120);
