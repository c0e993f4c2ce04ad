#pragma once

#include "support/server/scriptedserver.h"
#include "support/tool/sandbox.h"

#include <QStringList>

class LogRecords;

/// The port of this build's log service and producer, on which a ScriptedServer stands in for both.
quint16 servicePort();

/// Paths of the requests.
extern const char kLogFilePath[];
extern const char kProducerPath[];
extern const char kCrashPath[];

/// Describes a user in upload.ini, whom getFileInfo() of the tool calls kUserInfo: nickname "ann", user id "42",
/// namespace "space". Returns whether that is on disk.
bool addUser(const Sandbox &sandbox);
extern const char kUserInfo[];
/// What the form of a single group says about that user.
extern const char kGroupUserInfo[];

/// Adds a group with a "path" and, if it is not 0, "sdk" to upload.ini. Returns whether that is on disk.
bool addGroup(const Sandbox &sandbox, const QString &group, const QString &path, int sdk = 0);
/// Writes files/<group>.log below the application's folder and adds a group for it. Returns the file's path, empty on
/// failure.
QString addLog(const Sandbox &sandbox, const QString &group, const QByteArray &bytes, int sdk = 0);

/// File name in the form of a request: "own log" for the tool's own, and for a request without a sound form what is
/// wrong with it.
QString sentFileName(const RecordedRequest &request);
/// File names of the requests in order, each as often as it came.
QStringList sentFileNames(const ScriptedServer &server);

/// The records as "KxUpload::uploadList: text", the function named without its types; "[Warning] " or another level
/// in front where it is not "Debug".
QStringList recordLines(const LogRecords &log);

/// Starts the tool by a bash script, in which "$0" is the tool and "$@" are its arguments.
ToolOptions byShell(const QString &script);

/// Starts the tool with the shared library at \a library loaded before all others (Linux only).
ToolOptions preloading(const QString &library);

/// All files below \a directory as paths relative to it, sorted; hidden ones too.
QStringList filesBelow(const QString &directory);
