#include "intake/documentmembers.h"

#include "text/quotedtext.h"

#include <algorithm>
#include <cmath>

namespace {

bool isWholeNumber(const nlohmann::json &value)
{
    return value.is_number_integer() ||
           (value.is_number_float() && std::trunc(value.get<double>()) == value.get<double>());
}

bool isRoom(const nlohmann::json &value)
{
    return value.is_object() && problemOf(value, {{"room_name"}, {"room_sdk_id"}}).empty();
}

/// What \a value is not, although \a type wants it to be; null when it is.
const char *missed(MemberType type, const nlohmann::json &value)
{
    switch (type) {
    case MemberType::Text:
        return value.is_string() ? nullptr : "a text";
    case MemberType::WholeNumber:
        return isWholeNumber(value) ? nullptr : "a whole number";
    case MemberType::Rooms:
        return value.is_array() && std::all_of(value.begin(), value.end(), isRoom) ? nullptr : "a list of rooms";
    }
    return nullptr;
}

} // namespace

std::string problemOf(const nlohmann::json &document, const std::vector<Member> &members)
{
    for (const auto &member : members) {
        const auto found = document.find(member.name);
        if (found == document.end()) {
            if (member.isRequired)
                return "the member " + quotedText(member.name) + " is missing";
        } else if (const auto *what = missed(member.type, *found)) {
            return "the member " + quotedText(member.name) + " is not " + what;
        }
    }
    return {};
}
