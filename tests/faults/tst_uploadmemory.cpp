#include "support/server/scriptedserver.h"
#include "support/tool/processfacts.h"
#include "support/tool/toolsetup.h"
#include "support/wire/endpoints.h"

#include <QFile>
#include <QTest>
#include <QThread>
#include <atomic>

namespace {

constexpr qint64 kMiB = 1024 * 1024;
constexpr qint64 kLargeFileBytes = KX_LARGE_FILE_MIB * kMiB;
constexpr qint64 kMostAdditionalKiB = 4 * 1024;

} // namespace

/// The tool's need of memory, which does not depend on how long a file is.
class TestUploadMemory : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
#ifdef KX_SANITIZED
        QSKIP("a sanitizer keeps what the program releases");
#endif
        if (!knowsProcesses())
            QSKIP("this system does not tell about the memory of a process");
    }

    void needsNoMoreForALargeFile()
    {
        const qint64 small = peakWhileSending(1024);
        const qint64 large = peakWhileSending(kLargeFileBytes);
        qInfo("peak %lld KiB for 1 KiB, %lld KiB for %d MiB", small, large, KX_LARGE_FILE_MIB);
        QVERIFY(small > 0 && large > 0);
        QVERIFY(large <= small + kMostAdditionalKiB);
    }

private:
    /// The tool's peak in KiB at the end of a run that sends a file of \a bytes bytes; -1 unless all went well.
    static qint64 peakWhileSending(qint64 bytes)
    {
        const Sandbox sandbox;
        const QString path = sandbox.addFile(QStringLiteral("logs/log1.log"), QByteArray());
        if (!addUser(sandbox) || !addGroup(sandbox, QStringLiteral("log1"), path) || !QFile::resize(path, bytes))
            return -1;
        std::atomic<qint64> process{0};
        std::atomic<qint64> peak{-1};
        ScriptedServer::Config config;
        config.port = servicePort();
        config.bodyStore = BodyStore::Count;
        config.script = QList<Reply>{Reply::json(), Reply::json().onRequest([&] {
                                         while (process == 0)
                                             QThread::msleep(1);
                                         peak = peakMemoryKiB(process);
                                     })};
        const ScriptedServer server(config);
        const auto run = sandbox.startTool({});
        process = run->processId();
        const ToolResult result = run->finish(300000);
        const QList<RecordedRequest> requests = server.requests();
        const bool allSent = result.isSuccess() && requests.size() == 2 && requests.first().bodyComplete &&
                             requests.first().bodySize > bytes &&
                             sandbox.groups() == QStringList(QStringLiteral("system"));
        if (!allSent)
            qWarning("%s", result.describe().constData());
        return allSent ? peak.load() : -1;
    }
};

QTEST_GUILESS_MAIN(TestUploadMemory)
#include "tst_uploadmemory.moc"
