#pragma once

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>

/// One request as a ScriptedServer received it.
struct RecordedRequest
{
    int connection = 0;                           ///< number of the connection, counted from 1 in the order of arrival
    QByteArray method;                            ///< "POST"
    QByteArray path;                              ///< target of the request line, with its query
    QByteArray rawHead;                           ///< all bytes before the body, the empty line included
    QList<QPair<QByteArray, QByteArray>> headers; ///< name as sent, value trimmed; in order
    qint64 contentLength = 0;                     ///< what the header promised; 0 without one
    qint64 bodySize = 0;                          ///< bytes of the body that were read
    QByteArray body;                              ///< those bytes; empty unless BodyStore::Keep
    QByteArray bodyHash;                          ///< their SHA-1 in hex; empty unless BodyStore::Hash
    bool bodyComplete = false;                    ///< whether all of contentLength was read
    qint64 firstByteMs = 0;                       ///< when the request's first byte was there, since the server started
    qint64 readMs = 0;                            ///< when the server had read what it wanted of the request
    QString problem;                              ///< why the head is not that of an HTTP request; empty when it is

    /// Value of the first header called \a name, whatever its case; null without one.
    QByteArray header(const QByteArray &name) const;
    int countHeader(const QByteArray &name) const;

    /// Whether both heads announce the same: method, path and contentLength are equal.
    bool hasSameTarget(const RecordedRequest &other) const;
    /// Whether both are the same request sent again: method, path and body are equal.
    bool isRepeatOf(const RecordedRequest &other) const;

    /// Fills method, path, headers, contentLength and problem from \a head, which ends in the empty line.
    void parseHead(const QByteArray &head);
};
