#pragma once

#include <QtGlobal>

/// Waits for at least \a ms milliseconds while events, of all kinds, are processed.
/// Returns the milliseconds that really passed.
qint64 pauseWithEvents(int ms);
