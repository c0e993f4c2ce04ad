#pragma once

#include "support/server/scriptedserver.h"

#include <QByteArray>

/// Paths of the requests, as in a request line.
inline const QByteArray kLogFilePath = QByteArrayLiteral("/logsys/client/v1/logfile/upload");
inline const QByteArray kProducerPath = QByteArrayLiteral("/v1/clientproducer/upload");
inline const QByteArray kRequestFilePath = QByteArrayLiteral("/logsys/client/v1/uploadrequest");
inline const QByteArray kCrashPath = QByteArrayLiteral("/logsys/client/v1/crash/upload");
inline const QByteArray kErrorPath = QByteArrayLiteral("/logsys/client/v1/error/report");
inline const QByteArray kReportPath = QByteArrayLiteral("/log");

/// The port of this build's log service and producer, on which a ScriptedServer stands in for both.
quint16 servicePort();
