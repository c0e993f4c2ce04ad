#pragma once

#include <nlohmann/json.hpp>

#include <optional>
#include <string>

/// How deep the documents of requests may be nested, and how many values they may hold.
constexpr int kMaxDocumentDepth = 100;
constexpr int kMaxDocumentElements = 200000;

/// Returns the JSON object that \a text is; nothing when it is something else, holds more than \a maxElements values,
/// or is nested more than \a maxDepth levels deep: the library writes documents recursively, and a request must not be
/// able to exhaust the stack.
std::optional<nlohmann::json> parseObject(const std::string &text, int maxDepth = kMaxDocumentDepth,
                                          int maxElements = kMaxDocumentElements);
