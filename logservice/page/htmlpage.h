#pragma once

#include <string>

/// Returns the page \a title, which is text, with \a content, which is HTML.
std::string htmlPage(const std::string &title, const std::string &content);

/// Returns an input of a form with its label; \a value is text.
std::string labelledInput(const std::string &label, const std::string &type, const std::string &name,
                          const std::string &value);

/// Returns an option of a select; \a value and \a label are text.
std::string option(const std::string &value, const std::string &label, bool isSelected);
