#include "intake/endpoints.h"

namespace {

std::vector<Field> logForm()
{
    return {
        {"room", "room.txt", Content::Text},
        {"namespace", "namespace.txt", Content::Text},
        {"file", "file.bin", Content::File},
    };
}

std::vector<Field> crashForm()
{
    return {
        {"base", "base.json", Content::Json},
        {"info", "info.json", Content::Json},
        {"file", "file.bin", Content::File},
    };
}

} // namespace

const std::vector<Endpoint> &endpoints()
{
    static const std::vector<Endpoint> table = {
        {"crash", "/logsys/client/v1/crash/upload", Port::Main, crashForm(), "", {"/base/user_id", "/base/nickname"}},
        {"logfile", "/logsys/client/v1/logfile/upload", Port::Main, logForm(), "", {"/room"}},
        {"producer", "/v1/clientproducer/upload", Port::Main, logForm(), "", {"/room"}},
        {"uploadrequest", "/logsys/client/v1/uploadrequest", Port::Main, logForm(), "", {"/room"}},
        {"error",
         "/logsys/client/v1/error/report",
         Port::Main,
         {},
         "error.json",
         {"/user_id", "/username", "/room_sdk_id"}},
        {"report", "/log", Port::Report, {}, "report.json", {"/UserSid", "/RoomId", "/LogTitle"}},
    };
    return table;
}
