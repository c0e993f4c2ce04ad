#include "kxlog/networkwatch.h"

#include <QtGlobal>

#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)

#include <QNetworkConfigurationManager>

// The first of these wakes the thread that watches the network, as each network manager does while there is none.
// Made with the first report, as it has that thread look at the network every ten seconds. Left to the end of the
// process, like the log object: it must not go after the application.
void keepNetworkWatched()
{
    QT_WARNING_PUSH
    QT_WARNING_DISABLE_DEPRECATED
    static const auto *const watch = new QNetworkConfigurationManager;
    Q_UNUSED(watch)
    QT_WARNING_POP
}

#else

// Managers of Qt 6 have no such thread.
void keepNetworkWatched() {}

#endif
