#include "store/searchtext.h"

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

/// The bytes of the character that \a text begins with; 0 when it begins with none.
std::size_t characterBytes(std::string_view text)
{
    utf8proc_int32_t character = 0;
    const auto length = utf8proc_iterate(bytesOf(text), static_cast<utf8proc_ssize_t>(text.size()), &character);
    return length > 0 ? static_cast<std::size_t>(length) : 0;
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

std::string validUtf8(std::string_view text)
{
    std::string valid;
    valid.reserve(text.size());
    while (!text.empty()) {
        const auto length = characterBytes(text);
        valid += length > 0 ? text.substr(0, length) : "\xef\xbf\xbd";
        text.remove_prefix(std::max(length, std::size_t(1)));
    }
    return valid;
}

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
    std::string result(reinterpret_cast<const char *>(made), static_cast<std::size_t>(length));
    const auto isControl = [](char c) { return static_cast<unsigned char>(c) < 0x20U; };
    std::replace_if(result.begin(), result.end(), isControl, ' ');
    return result;
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
    const auto isBegin = [](char c) { return (static_cast<unsigned char>(c) & 0xc0U) != 0x80U; };
    return std::count_if(word.begin(), word.end(), isBegin) < static_cast<std::ptrdiff_t>(kLongWordCharacters);
}

std::string hexText(std::string_view bytes)
{
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        text += kDigits[byte >> 4U];
        text += kDigits[byte & 0x0fU];
    }
    return text;
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
