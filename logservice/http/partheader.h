#pragma once

#include <optional>
#include <string>
#include <string_view>

/// What the header lines of one form part say.
struct PartHeader
{
    std::string name;
    std::optional<std::string> fileName; ///< as it was sent, nothing unescaped; absent: the part is no file
};

/// Reads the header lines of one part, CR LF between them and none at the end.
///
/// The disposition has to be form-data; name="NAME", and for a file behind it ; filename="NAME". The file name reaches
/// to the last quote of its line: clients put names in as they are, quotes included. Throws Refusal (400).
PartHeader parsePartHeader(std::string_view lines);

/// Returns the boundary that the Content-Type header of a form names. Throws Refusal (400).
std::string formBoundary(std::string_view contentType);
