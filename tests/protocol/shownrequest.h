#pragma once

#include "support/server/recordedrequest.h"

#include <QByteArray>
#include <QString>

/// A request as docs/protocol.md shows it: its bytes as UTF-8 text. In head and form a line end is CR LF, and a line
/// feed without a carriage return is shown as U+240A in front of the line end; in a JSON body a line end is LF.
///
/// \a host is shown as value of the header Host, which names an address of the build. \a body is shown as the body,
/// with its length as the value of Content-Length: what was recorded, except for what differs between any two runs. The
/// text ends in a line end; it is null when the request is not whole or its bytes are no UTF-8.
QByteArray shownRequest(const RecordedRequest &request, const QByteArray &host, const QByteArray &body);

/// The text of a log of the tool as if it had been written at 9:30 on 1 May 2024 by a tool in \a shownFolder: times,
/// line numbers of sources, the compilers' spelling of pointers and the path \a folder are replaced.
QByteArray withoutRunsOwn(const QByteArray &log, const QString &folder, const QString &shownFolder);

/// A log report as if it had been sent within the first second of its client.
QByteArray withoutSeconds(const QByteArray &report);
