#pragma once

#include <QByteArray>

/// Decisions on what the service answered, apart from their effects.
namespace uploadanswer {

enum class Verdict {
    NotJson,  ///< the body is no JSON document
    Accepted, ///< "Code" is 0, or missing, or no integer; a JSON array counts as well
    Rejected, ///< "Code" is another integer
};

/// Verdict of an answer body; the HTTP status plays no part.
Verdict judge(const QByteArray &body);

/// What the answer to one file of the log list means for that file.
struct FileOutcome
{
    bool removeGroup = false;     ///< forget the file's group in the INI file
    bool deleteLocalFile = false; ///< delete the file itself
};

/// With a \a transportError, a network error of the reply, its body does not count. Logs of the SDK (\a sdk) go as soon
/// as any JSON came back.
FileOutcome judgeListedFile(bool transportError, const QByteArray &body, bool sdk);

} // namespace uploadanswer
