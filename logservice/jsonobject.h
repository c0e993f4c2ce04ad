#pragma once

#include <nlohmann/json.hpp>

#include <optional>
#include <string>

/// Returns the JSON object that \a text is; nothing when it is something else, or nested more than 100 levels deep:
/// the library writes documents recursively, and a request must not be able to exhaust the stack.
std::optional<nlohmann::json> parseObject(const std::string &text);
