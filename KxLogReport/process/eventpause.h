#pragma once

#include <QtGlobal>

/// Waits for at least @p ms milliseconds while events, of all kinds, are processed.
/// @return the milliseconds that really passed
qint64 pauseWithEvents(int ms);
