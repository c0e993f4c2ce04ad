#include "support/files/fileio.h"
#include "support/files/logrecords.h"
#include "support/tool/toolsetup.h"
#include "support/wire/arrivals.h"
#include "support/wire/endpoints.h"

#include <QFile>
#include <QTest>
#include <memory>

namespace {

constexpr int kMiB = 1024 * 1024;

} // namespace

/// The tool's own log, which another process may touch while it is sent.
class TestLiveOwnLog : public QObject
{
    Q_OBJECT

private slots:
    // An answer is part of the log, and a long one makes the log longer than what the system's buffers take.
    void init()
    {
        server_ = std::make_unique<ScriptedServer>(
            servicePort(), QList<Reply>{Reply::big(16 * kMiB), Reply::json().holdingAt(4 * kMiB)});
        QVERIFY(server_->isListening());
        sandbox_ = std::make_unique<Sandbox>();
        QVERIFY(addUser(*sandbox_));
        QVERIFY(!addLog(*sandbox_, QStringLiteral("log1"), "text").isEmpty());
        run_ = sandbox_->startTool({});
        QVERIFY(server_->waitForHold());
        snapshot_ = sandbox_->ownLogText();
        QVERIFY(snapshot_.size() > 16 * kMiB);
        ownLog_ = sandbox_->ownLogs().value(0);
    }
    void cleanup()
    {
        run_.reset();
        sandbox_.reset();
        server_.reset();
    }

    void arrivesAsItWasWhenItGrows()
    {
        QFile log(ownLog_);
        QVERIFY(log.open(QIODevice::Append));
        log.write("a record of another process");
        log.close();
        goOn();
        QCOMPARE(arrivedNames(*server_), (QStringList{QStringLiteral("log1.log"), QStringLiteral("own log")}));
        QVERIFY(arrivals(*server_).last().bytes == snapshot_);
    }

    void arrivesAsItWasWhenItIsDeleted()
    {
        QVERIFY(QFile::remove(ownLog_));
        goOn();
        QVERIFY(arrivals(*server_).last().bytes == snapshot_);
    }

    void endsTheRunWhenItShrinks_data()
    {
        QTest::addColumn<int>("left");
        QTest::newRow("to zero") << 0;
        QTest::newRow("by one byte") << -1;
    }
    void endsTheRunWhenItShrinks()
    {
        QFETCH(int, left);
        QVERIFY(QFile::resize(ownLog_, left < 0 ? snapshot_.size() + left : left));
        goOn();
        QCOMPARE(arrivedNames(*server_), QStringList{QStringLiteral("log1.log")});
    }

private:
    void goOn()
    {
        server_->release();
        const ToolResult result = run_->finish();
        QVERIFY2(result.isSuccess(), result.describe().left(1000));
        QCOMPARE(sandbox_->groups(), QStringList{QStringLiteral("system")});
    }

    std::unique_ptr<ScriptedServer> server_;
    std::unique_ptr<Sandbox> sandbox_;
    std::unique_ptr<ToolRun> run_;
    QByteArray snapshot_;
    QString ownLog_;
};

QTEST_GUILESS_MAIN(TestLiveOwnLog)
#include "tst_liveownlog.moc"
