#pragma once

#include "store/indexedupload.h"

#include <string>
#include <string_view>
#include <vector>

/// Returns \a text, any bytes, such that texts which are to be found by each other are the same: without case and
/// accents, letters of one width and shape, every blank and control character a space.
std::string folded(std::string_view text);

/// What can be found of an upload, folded.
struct SearchTexts
{
    std::string user;
    std::string room;
    std::string rest;
};

/// Returns the texts of \a upload, whose record has \a fields. Each is cut after 64 KiB.
SearchTexts searchTexts(const IndexedUpload &upload, const nlohmann::json &fields);

/// The words of \a text, which is folded.
std::vector<std::string> wordsOf(const std::string &text);

/// Whether \a word is too short to hold the three characters in a row that the index of long words has.
bool isShort(const std::string &word);

/// Returns all words of one or two characters, as hexText(), that are part of \a text, with spaces between them.
std::string gramsOf(const std::string &text);
