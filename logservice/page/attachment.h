#pragma once

#include <string>
#include <string_view>

/// Returns the Content-Disposition that offers a download under the file name \a sentName (RFC 6266).
///
/// Only what stands behind the last slash or backslash counts. Control characters, those that change the direction of
/// writing and so could show a false ending, what is not UTF-8, and characters that some system gives a meaning in
/// names become "_"; so does a point at the beginning. A missing name becomes "upload"; a longer one is cut after 200
/// bytes, or before the character that would go beyond.
std::string attachmentDisposition(std::string_view sentName);
