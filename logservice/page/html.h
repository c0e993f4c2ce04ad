#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// Returns \a text as text of an HTML page, also within a quoted attribute: no byte of it is taken for markup.
///
/// What is not UTF-8 and control characters other than line ends and tabs become U+FFFD; a line end of two characters
/// (CR LF) becomes one of one. What is longer than \a maxBytes bytes is cut between two characters and ends in an
/// ellipsis.
std::string htmlText(std::string_view text, std::size_t maxBytes = std::string_view::npos);

// What follows returns HTML too. Parameters named ...Html are that already; addresses, paths, values and the labels of
// options are any text; all others are written here, and need no care.

std::string htmlLink(const std::string &address, const std::string &contentHtml);

/// A block of links; empty without any.
std::string htmlNavigation(const std::string &linksHtml);

/// A form that loads \a path with what is said in its inputs.
std::string htmlForm(const std::string &path, const std::string &inputsHtml);
std::string htmlInput(const std::string &label, const std::string &type, const std::string &name,
                      const std::string &value);
std::string htmlSelect(const std::string &label, const std::string &name, const std::string &optionsHtml);
std::string htmlOption(const std::string &value, const std::string &label, bool isSelected);

std::string htmlTable(const std::string &className, const std::vector<std::string> &columns,
                      const std::string &rowsHtml);

std::string htmlPage(const std::string &titleHtml, const std::string &contentHtml);
