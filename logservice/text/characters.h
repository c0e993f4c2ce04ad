#pragma once

#include <cstddef>
#include <string>
#include <string_view>

inline bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

/// Whether \a c is a control character of ASCII.
inline bool isControl(char c)
{
    return static_cast<unsigned char>(c) < 0x20U || c == '\x7f';
}

/// Returns \a text with a space for each control character.
std::string onOneLine(std::string text);

/// Returns \a text with each byte that is not UTF-8 replaced by U+FFFD.
std::string validUtf8(std::string_view text);

/// The bytes of the character of UTF-8 that \a text begins with; 0 when it begins with none.
std::size_t characterBytes(std::string_view text);

/// How many characters \a text, which is UTF-8, has.
std::size_t characterCount(std::string_view text);

/// The most bytes that a character has behind its first one: as much less than asked for shortened() may return.
constexpr std::size_t kMaxCharacterRest = 3;

/// Returns the beginning of \a text up to \a maxBytes bytes, or up to the character that goes beyond them.
std::string_view shortened(std::string_view text, std::size_t maxBytes);

/// Returns \a bytes in lower case hex.
std::string hexText(std::string_view bytes);
