#pragma once

#include <cstddef>
#include <string_view>

/// Returns how many bytes the UTF-8 character takes that \a text begins with; 0 when it begins with none.
std::size_t utf8Length(std::string_view text);
