#pragma once

#include "store/uploadindex.h"

#include <string>

/// Returns the row of \a upload in the page's table as HTML.
std::string uploadRow(const IndexedUpload &upload);

/// Returns who sent \a upload as HTML, empty when nothing is known, and likewise its rooms.
std::string userHtml(const IndexedUpload &upload);
std::string roomsHtml(const IndexedUpload &upload);

/// Returns the time of \a upload as HTML, likewise.
std::string timeHtml(const IndexedUpload &upload);

/// Returns the links to what is stored of \a upload: the file as text, as a download, and the fields.
std::string fileLinks(const IndexedUpload &upload);

/// Returns what \a upload is called as HTML: what a report tells, since the files of all reports have the same name;
/// else the file's name as it was sent, or the one under which it is stored.
std::string titleHtml(const IndexedUpload &upload);

/// Returns \a bytes for people, such as 999 B, 1.5 kB or 20 MB; a kilobyte has 1000 bytes.
std::string sizeText(std::uint64_t bytes);
