#include "store/sender.h"

namespace {

using Json = nlohmann::json;

/// The member \a name of \a value; null when there is none.
const Json &member(const Json &value, const char *name)
{
    static const Json null;
    const auto found = value.find(name);
    return found == value.end() ? null : *found;
}

/// The member \a name of \a value as text; empty when it is neither text nor number.
std::string text(const Json &value, const char *name)
{
    const auto &found = member(value, name);
    if (found.is_number())
        return found.dump();
    return found.is_string() ? found.get<std::string>() : std::string();
}

Description crashSender(const Json &fields)
{
    Description sender;
    const auto &base = member(fields, "base");
    sender.nickname = text(base, "nickname");
    sender.userId = text(base, "user_id");
    const auto &rooms = member(member(fields, "info"), "info");
    if (rooms.is_array()) {
        for (const auto &room : rooms)
            sender.rooms.push_back({text(room, "room_sdk_id"), text(room, "room_name")});
    }
    return sender;
}

Description errorSender(const Json &fields)
{
    Description sender;
    sender.nickname = text(fields, "username");
    sender.userId = text(fields, "user_id");
    if (const auto room = text(fields, "room_sdk_id"); !room.empty())
        sender.rooms.push_back({room, {}});
    return sender;
}

Description reportSender(const Json &fields)
{
    Description sender;
    sender.userId = text(fields, "UserSid");
    if (const auto room = text(fields, "RoomId"); !room.empty())
        sender.rooms.push_back({room, {}});
    return sender;
}

} // namespace

Sender senderOf(const std::string &kind, const nlohmann::json &fields)
{
    if (kind == "crash")
        return {crashSender(fields), {}};
    if (kind == "error")
        return {errorSender(fields), {}};
    if (kind == "report")
        return {reportSender(fields), {}};

    const auto room = text(fields, "room");
    if (auto description = splitDescription(room))
        return {*std::move(description), {}};
    return {{}, room};
}
