#pragma once

#include "kxlog/kxlog.h"

#include <QMutex>

/// A log object whose fields a test can see.
///
/// The fields of any other log object, such as the one of the process, are reached as log->*(&OpenKxLog::field).
class OpenKxLog : public KxLog
{
public:
    using KxLog::KxLog;

    using KxLog::appKey;
    using KxLog::clientName;
    using KxLog::clientVersion;
    using KxLog::elapsedTimer;
    using KxLog::hardwareInfo;
    using KxLog::logFile;
    using KxLog::logFileName;
    using KxLog::logPath;
    using KxLog::logRole;
    using KxLog::logUserId;
    using KxLog::mediaServerInfo;
    using KxLog::mutex;
    using KxLog::reporting;
    using KxLog::roomId;
    using KxLog::serversSet;
    using KxLog::showLog;
    using KxLog::signalServerInfo;
    using KxLog::systemInfo;
    using KxLog::userId;
    using KxLog::userName;
};
