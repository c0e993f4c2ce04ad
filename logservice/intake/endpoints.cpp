#include "intake/endpoints.h"

namespace {

constexpr auto kNumber = MemberType::WholeNumber;

std::vector<Part> logForm()
{
    return {
        {"room", "room.txt", Content::Text},
        {"namespace", "namespace.txt", Content::Text},
        {"file", "file.bin", Content::File},
    };
}

std::vector<Part> crashForm()
{
    return {
        {"base", "base.json", Content::Json, {{"namespace"}, {"nickname"}, {"sdk", kNumber}, {"user_id"}, {"version"}}},
        {"info", "info.json", Content::Json, {{"info", MemberType::Rooms}}},
        {"file", "file.bin", Content::File},
    };
}

std::vector<Member> errorMembers()
{
    return {{"message"},
            {"namespace"},
            {"role", kNumber, false},
            {"room_sdk_id", MemberType::Text, false},
            {"sdk"},
            {"type", kNumber},
            {"user_id", MemberType::Text, false},
            {"username", MemberType::Text, false}};
}

std::vector<Member> reportMembers()
{
    return {{"AppKey"},
            {"CDesc"},
            {"CIP"},
            {"CType", kNumber},
            {"CVer"},
            {"Device"},
            {"ElapsedTime", kNumber},
            {"Level", kNumber},
            {"LogData"},
            {"LogTitle"},
            {"OS"},
            {"ProdDesc"},
            {"ReconnCnt", kNumber},
            {"RoomId"},
            {"SVer"},
            {"Server"},
            {"Timestamp", kNumber},
            {"Trigger", kNumber},
            {"UserSid"},
            {"VDownload", kNumber},
            {"VUpload", kNumber}};
}

} // namespace

const std::vector<Endpoint> &endpoints()
{
    const std::string base = "/logsys/client/v1";
    static const std::vector<Endpoint> table = {
        {"crash", base + "/crash/upload", Port::Main, crashForm(), {"/base/user_id", "/base/nickname"}},
        {"logfile", base + "/logfile/upload", Port::Main, logForm(), {"/room"}},
        {"producer", "/v1/clientproducer/upload", Port::Main, logForm(), {"/room"}},
        {"uploadrequest", base + "/uploadrequest", Port::Main, logForm(), {"/room"}},
        {"error",
         base + "/error/report",
         Port::Main,
         {{"", "error.json", Content::Json, errorMembers()}},
         {"/user_id", "/username", "/room_sdk_id"}},
        {"report",
         "/log",
         Port::Report,
         {{"", "report.json", Content::Json, reportMembers()}},
         {"/UserSid", "/RoomId", "/LogTitle"}},
    };
    return table;
}
