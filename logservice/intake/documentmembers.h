#pragma once

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

/// What the value of a member has to be.
enum class MemberType {
    Text,
    WholeNumber,
    Rooms, ///< a list of objects, each with the texts room_name and room_sdk_id
};

/// A member of a document that clients send.
struct Member
{
    std::string name;
    MemberType type = MemberType::Text;
    bool isRequired = true;
};

/// Returns what is wrong with the object \a document, such as: the member "Level" is missing; empty when nothing is.
/// Members that are not in \a members may be there and be anything: later clients may have more to say.
std::string problemOf(const nlohmann::json &document, const std::vector<Member> &members);
