#include "http/percentencoding.h"

namespace {

constexpr char kHexDigits[] = "0123456789ABCDEF";
constexpr std::string_view kUnreserved = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";

} // namespace

std::string percentEncoded(std::string_view text)
{
    std::string encoded;
    for (const char c : text) {
        if (kUnreserved.find(c) != std::string_view::npos) {
            encoded += c;
            continue;
        }
        const auto byte = static_cast<unsigned char>(c);
        encoded += '%';
        encoded += kHexDigits[byte >> 4U];
        encoded += kHexDigits[byte & 0x0fU];
    }
    return encoded;
}
