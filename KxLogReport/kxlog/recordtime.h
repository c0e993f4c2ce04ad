#pragma once

#include <QString>

/// Local time "yyyy-MM-dd hh:mm:ss" of the second @p secsSinceEpoch.
///
/// Fast while the second stays the same: the text of the last one asked for is kept, for each thread.
QString recordTime(qint64 secsSinceEpoch);
