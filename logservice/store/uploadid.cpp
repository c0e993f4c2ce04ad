#include "store/uploadid.h"

#include "text/characters.h"

#include <algorithm>
#include <charconv>
#include <tuple>

namespace {

constexpr std::size_t kMinNumberDigits = 6;  // of names that are made here, so that they sort well
constexpr std::size_t kMaxNumberDigits = 18; // far from the end of 64 bits: counting on never wraps
constexpr std::size_t kMaxKindBytes = 32;

bool isSmallLetter(char c)
{
    return c >= 'a' && c <= 'z';
}

} // namespace

std::optional<UploadId> parseUploadId(std::string_view text)
{
    const auto dash = std::min(text.find('-'), text.size());
    const auto digits = text.substr(0, dash);
    const auto kind = text.substr(std::min(dash + 1, text.size()));
    if (digits.empty() || digits.size() > kMaxNumberDigits || kind.empty() || kind.size() > kMaxKindBytes ||
        !std::all_of(digits.begin(), digits.end(), isDigit) || !std::all_of(kind.begin(), kind.end(), isSmallLetter))
        return std::nullopt;

    UploadId id;
    std::from_chars(digits.data(), digits.data() + digits.size(), id.number);
    id.kind = kind;
    id.text = text;
    return id;
}

std::optional<UploadId> makeUploadId(std::uint64_t number, const std::string &kind)
{
    auto digits = std::to_string(number);
    if (digits.size() < kMinNumberDigits)
        digits.insert(0, kMinNumberDigits - digits.size(), '0');
    return parseUploadId(digits + "-" + kind);
}

bool isOlder(const UploadId &a, const UploadId &b)
{
    return std::tie(a.number, a.text) < std::tie(b.number, b.text);
}
