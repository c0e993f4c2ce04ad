#include "store/searchtext.h"

#include "text/characters.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <new>
#include <set>

#include <utf8proc.h>

namespace {

// Nobody looks for what stands behind that, and every character costs time when an upload arrives.
constexpr std::size_t kMaxBytes = std::size_t(64) * 1024;

constexpr std::size_t kLongWordCharacters = 3;

const utf8proc_uint8_t *bytesOf(std::string_view text)
{
    return reinterpret_cast<const utf8proc_uint8_t *>(text.data());
}

void append(std::string &target, const std::string &value)
{
    if (!value.empty() && target.size() < kMaxBytes)
        target += value.substr(0, kMaxBytes) + '\n';
}

void appendValues(std::string &target, const nlohmann::json &value)
{
    if (value.is_structured()) {
        for (const auto &inner : value)
            appendValues(target, inner);
    } else if (value.is_string()) {
        append(target, value.get_ref<const std::string &>());
    } else if (value.is_number()) {
        append(target, value.dump());
    }
}

std::string foldedStart(const std::string &text)
{
    return folded(std::string_view(text).substr(0, kMaxBytes));
}

} // namespace

std::string folded(std::string_view text)
{
    const auto valid = validUtf8(text);
    utf8proc_uint8_t *made = nullptr;
    const auto length =
        utf8proc_map(bytesOf(valid), static_cast<utf8proc_ssize_t>(valid.size()), &made,
                     static_cast<utf8proc_option_t>(UTF8PROC_STABLE | UTF8PROC_COMPOSE | UTF8PROC_COMPAT |
                                                    UTF8PROC_CASEFOLD | UTF8PROC_STRIPMARK | UTF8PROC_IGNORE));
    if (length < 0)
        throw std::bad_alloc();
    const std::unique_ptr<utf8proc_uint8_t, decltype(&std::free)> owner(made, &std::free);
    return onOneLine({reinterpret_cast<const char *>(made), static_cast<std::size_t>(length)});
}

SearchTexts searchTexts(const IndexedUpload &upload, const nlohmann::json &fields)
{
    SearchTexts texts;
    for (const auto *value : {&upload.nickname, &upload.loginName, &upload.userId, &upload.unsplit})
        append(texts.user, *value);
    for (const auto &room : upload.rooms) {
        append(texts.room, room.id);
        append(texts.room, room.name);
    }
    append(texts.room, upload.unsplit);
    for (const auto *value : {&upload.id.text, &upload.nameSpace, &upload.message})
        append(texts.rest, *value);
    const bool isNamed = upload.fileName && !upload.fileName->empty();
    append(texts.rest, isNamed ? *upload.fileName : upload.contentName); // as it is shown
    for (const auto &field : fields.items()) {
        // Found above as what it says, split or not.
        if (field.key() != "room" && field.key() != "namespace")
            appendValues(texts.rest, field.value());
    }
    return {foldedStart(texts.user), foldedStart(texts.room), foldedStart(texts.rest)};
}

std::vector<std::string> wordsOf(const std::string &text)
{
    std::vector<std::string> words;
    for (std::size_t begin = 0; (begin = text.find_first_not_of(' ', begin)) != std::string::npos;) {
        const auto end = std::min(text.find(' ', begin), text.size());
        words.push_back(text.substr(begin, end - begin));
        begin = end;
    }
    return words;
}

bool isShort(const std::string &word)
{
    return characterCount(word) < kLongWordCharacters;
}

std::string gramsOf(const std::string &text)
{
    std::set<std::string_view> found;
    for (std::string_view rest = text; !rest.empty();) {
        // Texts come from a table on the disk, too, where they may be damaged.
        const auto length = std::max(characterBytes(rest), std::size_t(1));
        if (rest.front() != ' ') {
            found.insert(rest.substr(0, length));
            const auto next = rest.substr(length);
            if (!next.empty() && next.front() != ' ')
                found.insert(rest.substr(0, length + characterBytes(next)));
        }
        rest.remove_prefix(length);
    }
    std::string grams;
    for (const auto gram : found)
        grams += hexText(gram) + ' ';
    return grams;
}
