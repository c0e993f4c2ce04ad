#pragma once

#include <string>
#include <string_view>

/// Returns the Content-Disposition that offers a download under the file name \a sentName (RFC 6266).
///
/// Only what stands behind the last slash or backslash counts. Control characters, what is not UTF-8, and characters
/// that some system gives a meaning in names become "_"; so do points at the beginning. A name that is missing or
/// too long becomes or ends as one that is not.
std::string attachmentDisposition(std::string_view sentName);
