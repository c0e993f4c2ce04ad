#include "store/descriptiontext.h"

#include <algorithm>
#include <array>
#include <utility>

namespace {

constexpr std::string_view kNicknameLabel = "nickname-";
constexpr std::string_view kLoginNameLabel = "loginname-";
constexpr std::string_view kUserIdLabel = "userid-";
constexpr std::string_view kRoomIdLabel = "roomid-";
constexpr std::string_view kRoomNameLabel = ".roomname-";

// Splitting may take the square of the length for texts that are made to do so.
constexpr std::size_t kMaxBytes = std::size_t(64) * 1024;

bool startsWith(std::string_view text, std::string_view label)
{
    return text.substr(0, label.size()) == label;
}

/// Returns where \a label stands first in \a text right behind a point; npos when it does not.
std::size_t findLabel(std::string_view text, std::string_view label)
{
    const auto point = text.find("." + std::string(label));
    return point == std::string_view::npos ? point : point + 1;
}

/// Returns the part of \a text in front of its rooms.
std::string_view identityOf(std::string_view text)
{
    return startsWith(text, kRoomIdLabel) ? std::string_view() : text.substr(0, findLabel(text, kRoomIdLabel));
}

/// Reads an identity, whose values all end in a point. Returns whether \a text is one.
bool readIdentity(std::string_view text, Description &description)
{
    const std::array<std::pair<std::string_view, std::string *>, 3> values = {{
        {kNicknameLabel, &description.nickname},
        {kLoginNameLabel, &description.loginName},
        {kUserIdLabel, &description.userId},
    }};
    for (std::size_t i = 0; i < values.size(); ++i) {
        const auto [label, target] = values[i];
        if (!startsWith(text, label))
            continue;
        text.remove_prefix(label.size());
        auto end = std::string_view::npos;
        for (auto next = i + 1; next < values.size() && end == std::string_view::npos; ++next)
            end = findLabel(text, values[next].first);
        end = std::min(end, text.size());
        if (end == 0 || text[end - 1] != '.')
            return false;
        *target = text.substr(0, end - 1);
        text.remove_prefix(end);
    }
    return text.empty();
}

/// Reads what stands behind an identity and the label of the room's id.
bool readRoom(std::string_view text, Description &description)
{
    const auto idEnd = text.find(kRoomNameLabel);
    if (idEnd == std::string_view::npos)
        return false;
    const auto name = text.substr(idEnd + kRoomNameLabel.size());
    description.rooms.push_back({std::string(text.substr(0, idEnd)), std::string(name)});
    return true;
}

} // namespace

std::optional<Description> splitDescription(std::string_view text)
{
    if (text.empty() || text.size() > kMaxBytes)
        return std::nullopt;
    const auto identity = identityOf(text);
    Description description;
    if (!readIdentity(identity, description))
        return std::nullopt;
    if (identity.size() == text.size())
        return description;

    // Names may hold commas: only one with all that begins an entry ends a name.
    const auto separator = "," + std::string(identity) + std::string(kRoomIdLabel);
    auto begin = identity.size() + kRoomIdLabel.size();
    for (;;) {
        const auto end = text.find(separator, begin);
        const auto room = text.substr(begin, end == std::string_view::npos ? end : end - begin);
        if (!readRoom(room, description))
            return std::nullopt;
        if (end == std::string_view::npos)
            return description;
        begin = end + separator.size();
    }
}
