#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QVector>

/// Byte-exact requests as the client puts them on the wire, and what is needed to get them wrong.
namespace wireform {

struct Part
{
    QByteArray disposition; ///< for example form-data; name="room"
    QByteArray body;
    QByteArray contentType = QByteArray(); ///< no such header when empty
};

/// The boundary that the client uses for every form.
QByteArray boundary();

/// The Content-Type of a form with boundary().
QByteArray formType();

Part textPart(const QByteArray &name, const QByteArray &body);
Part filePart(const QByteArray &fileName, const QByteArray &body);

/// The body of a form of \a parts.
QByteArray form(const QVector<Part> &parts);

/// The body of a log file's form: room, namespace and file.
QByteArray logForm(const QByteArray &fileName, const QByteArray &body);

/// A whole request with its Content-Length.
QByteArray post(const QByteArray &path, const QByteArray &contentType, const QByteArray &body,
                const QByteArray &moreHeaders = QByteArray());

/// The addresses of the service.
QByteArray logFilePath();
QByteArray producerPath();
QByteArray requestFilePath();
QByteArray crashPath();
QByteArray errorPath();
QByteArray reportPath();

} // namespace wireform
