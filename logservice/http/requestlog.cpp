#include "http/requestlog.h"

#include "http/readabletext.h"
#include "http/timestamp.h"

#include <cstdio>

namespace {

constexpr std::size_t kMaxAboutBytes = 80;

std::string refusalText(const Refusal &refusal)
{
    return "refused with " + std::to_string(refusal.status) + ": " + refusal.what();
}

} // namespace

void RequestLog::writeIntake(const Intake &intake, const std::string &about, const std::string &answer)
{
    const auto &record = intake.record;
    auto line = record.kind + " " + (record.fileName ? quotedText(*record.fileName) : "-") + " " +
                std::to_string(record.size) + " bytes from " + quotedText(about, kMaxAboutBytes) + " ";
    if (intake.refusal)
        line += refusalText(*intake.refusal);
    else
        line += "answered " + answer + (intake.storedAs.empty() ? "" : ", stored as " + intake.storedAs);
    write(line);
}

void RequestLog::writeStray(const httplib::Request &request, const Refusal &refusal)
{
    write("- " + quotedText(request.method + " " + request.path) + " " + refusalText(refusal));
}

void RequestLog::write(const std::string &line)
{
    const auto whole = localTime() + " " + line + "\n";
    const std::lock_guard<std::mutex> guard(mutex_);
    std::fwrite(whole.data(), 1, whole.size(), stdout);
    std::fflush(stdout);
}
