#pragma once

#include <QString>

/// @p left followed by the UTF-8 text @p right.
QString operator+(const QString &left, const char *right);

/// Waits for at least @p ms milliseconds while events, of all kinds, are processed.
/// @return the milliseconds that really passed
qint64 mSleep(int ms);
