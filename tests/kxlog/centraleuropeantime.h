#pragma once

#include <QByteArray>
#include <ctime>

/// Makes Central European time the local time of this process. It skips an hour in spring and repeats one in autumn.
inline void useCentralEuropeanTime()
{
    // Written so that no time-zone database is needed.
    qputenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3");
    ::tzset();
}
