#pragma once

#include "support/server/scriptedserver.h"

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>

/// A file that reached a server whole, in a sound form. "own log" stands for the name of the tool's own.
struct Arrival
{
    QString name;
    QByteArray bytes; ///< empty unless the server keeps bodies
};

/// File name in the form of a request: "own log" for the tool's own, and for a request without a sound form what is
/// wrong with it.
QString sentFileName(const RecordedRequest &request);
/// File names of the requests in order, each as often as it came.
QStringList sentFileNames(const ScriptedServer &server);

/// The files that reached \a server whole, in order, repeats by Qt counted once. Needs BodyStore::Keep.
QList<Arrival> arrivals(const ScriptedServer &server);

/// Their names.
QStringList arrivedNames(const ScriptedServer &server);
