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

/// What follows puts the log service's forms together byte by byte, without the code that sends them.

/// The boundary that all forms have in common.
QByteArray formBoundary();
/// Value of the Content-Type header of a form.
QByteArray formType();
/// One part from its boundary line to its final line end; \a disposition is for example form-data; name="room".
QByteArray formPart(const QByteArray &disposition, const QByteArray &body,
                    const QByteArray &contentType = QByteArray());
QByteArray textPart(const QByteArray &name, const QByteArray &text);
QByteArray filePart(const QByteArray &fileName, const QByteArray &bytes);
/// The whole body made of \a parts.
QByteArray form(const QList<QByteArray> &parts);
/// The body of a log upload: "room", "namespace" and the file.
QByteArray logForm(const QString &room, const QString &nameSpace, const QString &fileName, const QByteArray &bytes);
/// The same by a user "ann" for tests to which the user does not matter.
QByteArray logForm(const QByteArray &fileName, const QByteArray &bytes);
/// The body of a crash upload: "base" and "info", both JSON texts, and the file.
QByteArray crashForm(const QByteArray &base, const QByteArray &info, const QString &fileName, const QByteArray &bytes);
