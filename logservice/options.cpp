#include "options.h"

#include <charconv>
#include <limits>

namespace {

constexpr int kMaxPort = 65535;
constexpr int kMinStatus = 200;
constexpr int kMaxStatus = 599;
constexpr int kMaxDelayMs = 600000;

int number(const std::string &option, const std::string &text, int min, int max)
{
    int value = 0;
    const char *end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || rest != end || value < min || value > max)
        throw UsageError("option " + option + " needs a whole number from " + std::to_string(min) + " to " +
                         std::to_string(max) + ", not '" + text + "'");
    return value;
}

} // namespace

Options parseOptions(const std::vector<std::string> &arguments)
{
    Options options;
    for (auto argument = arguments.begin(); argument != arguments.end(); ++argument) {
        const std::string &option = *argument;
        const auto value = [&]() -> const std::string & {
            if (++argument == arguments.end())
                throw UsageError("option " + option + " needs a value");
            return *argument;
        };

        if (option == "--port") {
            options.port = number(option, value(), 0, kMaxPort);
        } else if (option == "--report-port") {
            options.reportPort = number(option, value(), 0, kMaxPort);
        } else if (option == "--no-report") {
            options.takesReports = false;
        } else if (option == "--dir") {
            options.folder = value();
            if (options.folder.empty())
                throw UsageError("option --dir needs the name of a folder");
        } else if (option == "--code") {
            options.code = number(option, value(), std::numeric_limits<int>::min(), std::numeric_limits<int>::max());
        } else if (option == "--keep") {
            options.keep = static_cast<std::size_t>(number(option, value(), 1, std::numeric_limits<int>::max()));
        } else if (option == "--status") {
            options.status = number(option, value(), kMinStatus, kMaxStatus);
        } else if (option == "--delay") {
            options.delayMs = number(option, value(), 0, kMaxDelayMs);
        } else if (option == "--help" || option == "-h") {
            options.asksForHelp = true;
        } else {
            throw UsageError("unknown argument '" + option + "', see --help");
        }
    }
    return options;
}

const char *helpText()
{
    return R"(Usage: kxlogservice [OPTION]...
A local log service for development and tests, not for production: it takes the uploads and reports that the
client and KxLogReport send, checks them strictly, stores each in a folder of its own and prints one line for it.
A page for browsers, http://127.0.0.1:8700/, lists what has arrived, newest first, with links to the files.
It listens on 127.0.0.1 only and runs until it is interrupted (Ctrl+C).

  --port N         port of the uploads and the error report (default 8700; 0 picks a free one)
  --report-port N  port of the log reports (default 21999; 0 picks a free one)
  --no-report      do not listen on the report port
  --dir FOLDER     store below FOLDER, made when missing (default ./kxlogservice-data)
  --code N         answer {"Code":N} to what is accepted (default 0)
  --keep N         remove the oldest uploads as new ones arrive, so that the newest N stay (default: all stay)
  --status N       answer with HTTP status N, 200 to 599, to what is accepted (default 200); it is stored all the same
  --delay MS       wait for MS milliseconds before each answer, 600000 at most (default 0)
  --help           print this text

Example: take uploads on port 9000, keep them in build/uploads and turn each of them down with code 3
  kxlogservice --port 9000 --no-report --dir build/uploads --code 3
Then, from another terminal:
  curl -F room=nickname-ann. -F namespace=demo -F file=@client.log http://127.0.0.1:9000/logsys/client/v1/logfile/upload

A stored upload is a folder such as build/uploads/000001-logfile with one file per form field (room.txt,
namespace.txt), the uploaded bytes (file.bin) and a summary (upload.json). Nobody but you may read it; a FOLDER
that others may write to is refused. The page looks into .index.sqlite beside them, which is made anew when it is
missing; folders that you put there or remove by hand are seen at the next start.

Exit status: 0 after an interrupt, 1 when a port or the folder cannot be used, 2 for wrong arguments.
)";
}
