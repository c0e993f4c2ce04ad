#pragma once

#include <string>
#include <string_view>

/// Returns \a text with everything but letters and digits of ASCII and -._~ as %XX (RFC 3986).
std::string percentEncoded(std::string_view text);
