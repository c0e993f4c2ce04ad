#pragma once

#include <QDate>
#include <QString>
#include <QStringList>

/// What one daily pruning pass over a log directory considers, and how it reads the files' names.
struct RetentionRule
{
    QStringList nameFilters; ///< QDir wildcard patterns of the names that are considered
    QString markerFormat;    ///< of the day-marker file's base name, see formatStamp(); its suffix is ".dat"
    QString removedPrefix;   ///< removed wherever it stands before the stamp is parsed; may be empty
    QString stampFormat;     ///< of the name up to its first ".", see parseStamp(); local time
};

/// The rule of the program's own log directory: names with a dot, stamped 2024_05_01_09_30_00, with or without
/// "crash_".
RetentionRule ownLogRule();

/// The rule of the SDK's log directory: *.log and *.dat, stamped 20240501093000.
RetentionRule sdkLogRule();

/// File name of the day marker of \a today.
QString dayMarkerName(const RetentionRule &rule, const QDate &today);

/// Whether a pass on \a today deletes the file \a name: it contains "dat" and is not today's marker, or its stamp is at
/// least three calendar days old. A name that does not parse is kept.
bool isExpired(const RetentionRule &rule, const QString &name, const QDate &today);

/// Prunes \a dir (no trailing separator) unless today's marker is there, and leaves the marker.
///
/// Only plain, readable, not hidden files directly in \a dir are considered. Failures are ignored: what cannot be
/// deleted is tried again on the next day, a missing directory stays missing.
void pruneLogDirectory(const QString &dir, const RetentionRule &rule, const QDate &today);
