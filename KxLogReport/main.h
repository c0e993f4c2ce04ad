#pragma once

#include <QString>

/// \a left followed by the UTF-8 text \a right.
QString operator+(const QString &left, const char *right);

/// Waits for at least \a ms milliseconds while events, of all kinds, are processed.
/// Returns the milliseconds that really passed.
qint64 mSleep(int ms);
