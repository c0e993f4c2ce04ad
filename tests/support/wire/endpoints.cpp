#include "support/wire/endpoints.h"

#include "kxendpoints.h"

#include <QUrl>

quint16 servicePort()
{
    const int port = QUrl(QLatin1String(kxendpoints::kLogServiceUrl)).port();
    if (port != QUrl(QLatin1String(kxendpoints::kProducerUrl)).port())
        qFatal("these tests serve the log service and the producer on one port");
    return quint16(port);
}
