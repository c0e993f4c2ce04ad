#pragma once

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

/// What a part has to be.
enum class Content {
    Text, ///< any text
    Json, ///< a JSON object
    File, ///< bytes that come with a file name
};

/// One part of what is sent.
struct Part
{
    std::string name;     ///< in the form; empty: the part is the whole body
    std::string storedAs; ///< name of the file in the upload's folder
    Content content;
    std::vector<Member> members = {}; ///< of a JSON object, which may have others too: later clients have more to say
};

enum class Port { Main, Report };

/// One address of the log service and what is sent to it.
struct Endpoint
{
    std::string kind; ///< short name, also the end of the stored folder's name
    std::string path;
    Port port;
    std::vector<Part> parts;        ///< in the order in which they have to come
    std::vector<std::string> shown; ///< JSON pointers to the fields that the request log shows: who and where

    bool isForm() const { return !parts.front().name.empty(); }
};

/// Every endpoint of the service.
const std::vector<Endpoint> &endpoints();
