#pragma once

#include <stdexcept>
#include <string>
#include <vector>

/// What the command line asks for.
struct Options
{
    int port = 8700;                          ///< port of the uploads and the error report; 0: a free one
    int reportPort = 21999;                   ///< port of the log reports; 0: a free one
    bool takesReports = true;                 ///< listens on the report port at all
    std::string folder = "kxlogservice-data"; ///< uploads are stored below it
    int code = 0;                             ///< answered as "Code" to every accepted request
    std::size_t keep = 0;                     ///< the newest uploads that stay; 0: all
    bool discards = false;                    ///< reads and checks requests, stores nothing
    bool asksForHelp = false;
};

/// Thrown for a command line that cannot be followed; what() is one line.
class UsageError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// Reads the arguments behind the program's name. Throws UsageError.
Options parseOptions(const std::vector<std::string> &arguments);

/// What --help prints, with a line end.
const char *helpText();
