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

/// The files that reached \a server whole, in order, repeats by Qt counted once. Needs BodyStore::Keep.
QList<Arrival> arrivals(const ScriptedServer &server);

/// Their names.
QStringList arrivedNames(const ScriptedServer &server);

/// A folder for sandboxes whose files the tool goes through fast: in memory where the system has such a place, else
/// empty, which Sandbox takes for the system's folder for temporary files.
QString fastFolder();
