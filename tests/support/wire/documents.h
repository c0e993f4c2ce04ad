#pragma once

#include <QByteArray>

/// The bodies of a log report and of an error report by a user "42", put together without the code that sends them.
QByteArray reportDocument();
QByteArray errorDocument();
/// The texts "base" and "info" of a crash upload by the same user, without rooms.
QByteArray crashBase();
QByteArray crashInfo();
