#pragma once

#include "support/server/recordedrequest.h"

#include <QByteArray>
#include <QList>
#include <QString>

/// One part of a received form.
struct FormPart
{
    QList<QByteArray> headerLines; ///< as received, without their CR LF, in order
    QByteArray name;
    bool hasFileName = false;
    QString fileName;       ///< decoded as UTF-8
    QByteArray contentType; ///< empty without such a header
    QByteArray body;
};

/// A received form. Every deviation from the form's grammar is a problem; the parts read before it are kept.
struct MultipartForm
{
    QByteArray boundary;
    QList<FormPart> parts;
    QString problem; ///< empty when the form is well-formed

    bool isWellFormed() const { return problem.isEmpty(); }
    /// Body of the only part called \a name; null if there is none or more than one.
    QByteArray body(const QByteArray &name) const;
    /// The parts' names in order.
    QList<QByteArray> names() const;
};

MultipartForm parseForm(const RecordedRequest &request);
MultipartForm parseForm(const QByteArray &contentType, const QByteArray &body);

/// The wire form of the log service's requests, put together without the code that sends them.

/// The boundary that all requests have in common.
QByteArray expectedBoundary();
/// Value of the Content-Type header.
QByteArray expectedContentType();
/// A part with a text, boundary line and final line end included.
QByteArray expectedTextPart(const QByteArray &name, const QByteArray &text);
/// The part with the file; \a fileName is sent as UTF-8.
QByteArray expectedFilePart(const QString &fileName, const QByteArray &fileBytes);
/// The whole body made of \a parts.
QByteArray expectedForm(const QList<QByteArray> &parts);
/// The whole body of a log upload: "room", "namespace" and the file.
QByteArray expectedLogForm(const QString &room, const QString &nameSpace, const QString &fileName,
                           const QByteArray &fileBytes);
/// The whole body of a crash upload: "base" and "info", both JSON texts, and the file.
QByteArray expectedCrashForm(const QByteArray &base, const QByteArray &info, const QString &fileName,
                             const QByteArray &fileBytes);
