#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct Room
{
    std::string id;
    std::string name;
};

/// Who sent a file and from which rooms.
struct Description
{
    std::string nickname; ///< each may be empty
    std::string loginName;
    std::string userId;
    std::vector<Room> rooms; ///< in the order of the text
};

/// Splits the text that comes as "room" with a log file; nothing when it does not have that form.
///
/// The text is an identity, or one entry per room with commas between them, each of them the identity and the room:
///
///     nickname-Ann.loginname-a1.userid-7.roomid-12.roomname-Blue,nickname-Ann.loginname-a1.userid-7.roomid-9...
///
/// Labels of the identity may be missing. Nothing in it is escaped: a value ends where a later label fits first, so one
/// that holds such a label itself is split there. Texts of more than 64 KiB are not split.
std::optional<Description> splitDescription(std::string_view text);
