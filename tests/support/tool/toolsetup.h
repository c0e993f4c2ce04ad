#pragma once

#include "support/tool/sandbox.h"

#include <QStringList>

class LogRecords;

/// Describes a user in upload.ini: nickname "ann", user id "42", namespace "space". Returns whether that is on disk.
bool addUser(const Sandbox &sandbox);

/// Adds a group with a "path" and, if it is not 0, "sdk" to upload.ini. Returns whether that is on disk.
bool addGroup(const Sandbox &sandbox, const QString &group, const QString &path, int sdk = 0);
/// Writes files/<group>.log below the application's folder and adds a group for it. Returns the file's path, empty on
/// failure.
QString addLog(const Sandbox &sandbox, const QString &group, const QByteArray &bytes, int sdk = 0);

/// The records as "KxUpload::uploadList: text", the function named without its types; "[Warning] " or another level
/// in front where it is not "Debug".
QStringList recordLines(const LogRecords &log);

/// A folder for sandboxes whose files the tool goes through fast: in memory where the system has such a place, else
/// empty, which Sandbox takes for the system's folder for temporary files.
QString fastFolder();

/// Starts the tool by a bash script, in which "$0" is the tool and "$@" are its arguments.
ToolOptions byShell(const QString &script);

/// Starts the tool with the shared library at \a library loaded before all others (Linux only).
ToolOptions preloading(const QString &library);

/// All files below \a directory as paths relative to it, sorted; hidden ones too.
QStringList filesBelow(const QString &directory);
