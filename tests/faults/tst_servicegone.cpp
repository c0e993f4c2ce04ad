#include "support/process/waitfor.h"
#include "support/tool/toolsetup.h"
#include "support/wire/arrivals.h"
#include "support/wire/endpoints.h"

#include <QSettings>
#include <QTest>
#include <csignal>
#include <memory>

namespace {

constexpr int kFiles = 200;
constexpr int kSentBefore = 3;

QString groupName(int i)
{
    return QStringLiteral("log%1").arg(i, 3, 10, QLatin1Char('0'));
}

} // namespace

/// A service that goes away while a run is on, and comes back.
class TestServiceGone : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        sandbox_ = std::make_unique<Sandbox>(Sandbox::builtTool(), fastFolder());
        QVERIFY(addUser(*sandbox_));
        QVERIFY(sandbox_->writeIni([&](QSettings &ini) {
            for (int i = 0; i < kFiles; ++i) {
                sandbox_->addFile(QStringLiteral("logs/") + groupName(i) + QStringLiteral(".log"), "text");
                ini.setValue(groupName(i) + QStringLiteral("/sdk"), 0);
            }
        }));
        // The service goes while the fourth request is on its way.
        server_ = std::make_unique<ScriptedServer>(
            servicePort(), QList<Reply>{Reply::json(), Reply::json(), Reply::json(), Reply::json().holdingAt(0)});
        QVERIFY(server_->isListening());
        run_ = sandbox_->startTool({});
        QVERIFY(server_->waitForHold());
        QCOMPARE(arrivedNames(*server_).size(), kSentBefore);
    }
    void cleanup()
    {
        run_.reset();
        server_.reset();
        sandbox_.reset();
    }

    void leavesTheRestForTheNextRun()
    {
        server_.reset();
        const ToolResult result = run_->finish();
        QVERIFY2(result.isSuccess(), result.describe().left(10000));
        qInfo("took %lld ms", result.elapsedMs);
        QVERIFY2(result.elapsedMs < 2 * kPromptMs, result.describe().left(10000));
        QCOMPARE(groups(), allGroups().mid(kSentBefore));

        const ScriptedServer again(servicePort());
        QVERIFY(again.isListening());
        QVERIFY(sandbox_->runTool({}).isSuccess());
        QCOMPARE(arrivedNames(again), namesOf(allGroups().mid(kSentBefore)));
        QCOMPARE(groups(), QStringList());
    }

    void getsTheRestOfTheListWhenItComesBack()
    {
        server_.reset();
        QVERIFY(waitFor([&] { return run_->standardError().contains("ConnectionRefusedError"); }));
        // The tool waits, as it may go through the rest of its list faster than a service starts.
        QVERIFY(signalRun(SIGSTOP));
        const ScriptedServer again(servicePort());
        QVERIFY(again.isListening());
        QVERIFY(signalRun(SIGCONT));

        const ToolResult result = run_->finish();
        QVERIFY2(result.isSuccess(), result.describe().left(10000));
        qInfo("took %lld ms", result.elapsedMs);
        QVERIFY2(result.elapsedMs < 2 * kPromptMs, result.describe().left(10000));
        const QStringList kept = groups();
        QVERIFY(!kept.isEmpty());
        QCOMPARE(kept, allGroups().mid(kSentBefore, kept.size()));
        QCOMPARE(arrivedNames(again), namesOf(allGroups().mid(kSentBefore + kept.size())));
    }

private:
    bool signalRun(int signal)
    {
        // The id of a process that has ended is 0, which would mean this one and its relatives.
        const qint64 process = run_->isRunning() ? run_->processId() : 0;
        return process > 0 && ::kill(pid_t(process), signal) == 0;
    }

    static QStringList allGroups()
    {
        QStringList names;
        for (int i = 0; i < kFiles; ++i)
            names.append(groupName(i));
        return names;
    }

    /// What the service receives in a run that sends the files of \a groups.
    static QStringList namesOf(const QStringList &groups)
    {
        QStringList names;
        for (const QString &group : groups)
            names.append(group + QStringLiteral(".log"));
        return names << QStringLiteral("own log");
    }

    QStringList groups() const
    {
        QStringList groups = sandbox_->groups();
        groups.removeOne(QStringLiteral("system"));
        return groups;
    }

    std::unique_ptr<Sandbox> sandbox_;
    std::unique_ptr<ScriptedServer> server_;
    std::unique_ptr<ToolRun> run_;
};

QTEST_GUILESS_MAIN(TestServiceGone)
#include "tst_servicegone.moc"
