#include "support/process/waitfor.h"
#include "support/tool/toolsetup.h"
#include "support/wire/arrivals.h"
#include "support/wire/endpoints.h"

#include <QDir>
#include <QFile>
#include <QTest>
#include <QThread>
#include <atomic>

Q_DECLARE_METATYPE(Reply)

namespace {

/// Whether \a process has the file at \a path open; false where the system does not tell.
bool hasOpen(qint64 process, const QString &path)
{
    const QDir descriptors(QStringLiteral("/proc/%1/fd").arg(process));
    for (const QFileInfo &entry : descriptors.entryInfoList(QDir::Files | QDir::System)) {
        if (entry.symLinkTarget() == path)
            return true;
    }
    return false;
}

} // namespace

/// What a whole run makes of the answers that it gets.
class TestServiceAnswers : public QObject
{
    Q_OBJECT

private slots:
    void forgetsExactlyTheFilesThatWereAccepted()
    {
        const QList<Reply> script{Reply::json(),
                                  Reply::json("{\"Code\":5}"),
                                  Reply::http(200, "OK"),
                                  Reply::http(500, "{\"Code\":0}"),
                                  Reply::json("{}"),
                                  Reply::json("{\"Code\":\"5\"}"),
                                  Reply::resetAfterBody().untilAnotherRequest(),
                                  Reply::json("{\"Code\":5}"),
                                  Reply::http(200, "OK"),
                                  Reply::http(404, "{\"Code\":0}")};
        const ScriptedServer server(servicePort(), script);
        QVERIFY(server.isListening());
        const Sandbox sandbox;
        QVERIFY(addUser(sandbox));
        QStringList files;
        QStringList names;
        for (int i = 0; i < script.size(); ++i) {
            const bool sdk = i >= 7;
            files.append(addLog(sandbox, QStringLiteral("log%1").arg(i), QByteArray::number(i), sdk ? 1 : 0));
            names.append(QStringLiteral("log%1.log").arg(i));
        }

        const ToolResult result = sandbox.runTool({});
        QVERIFY2(result.isSuccess(), result.describe());
        QStringList sent = sentFileNames(server);
        sent.removeDuplicates();
        QCOMPARE(sent, names + QStringList(QStringLiteral("own log")));
        QCOMPARE(sandbox.groups(), (QStringList{QStringLiteral("log1"), QStringLiteral("log2"), QStringLiteral("log3"),
                                                QStringLiteral("log6"), QStringLiteral("log7"), QStringLiteral("log8"),
                                                QStringLiteral("log9"), QStringLiteral("system")}));
        for (const QString &file : files)
            QCOMPARE(QFile::exists(file), file != files.at(7));
    }

    void hasOneRequestInFlightAtATime()
    {
        std::atomic<int> inFlight{0};
        std::atomic<int> most{0};
        const auto begins = [&] {
            const int now = ++inFlight;
            if (now > most)
                most = now;
        };
        const auto ends = [&] {
            // The time in which a second request would come, if one did.
            QThread::msleep(100);
            --inFlight;
        };
        const ScriptedServer server(servicePort(), {}, Reply::json().onHeaders(begins).onRequest(ends));
        QVERIFY(server.isListening());
        const Sandbox sandbox;
        QVERIFY(addUser(sandbox));
        for (const char *group : {"log1", "log2", "log3", "log4"})
            QVERIFY(!addLog(sandbox, QLatin1String(group), "text", qstrcmp(group, "log3") == 0 ? 1 : 0).isEmpty());

        const ToolResult result = sandbox.runTool({});
        QVERIFY2(result.isSuccess(), result.describe());
        QCOMPARE(server.requests().size(), 5);
        QCOMPARE(most.load(), 1);
    }

    void endsWithTheAnswerToItsOwnLog_data()
    {
        QTest::addColumn<Reply>("reply");
        QTest::newRow("refused") << Reply::json("{\"Code\":1}");
        QTest::newRow("HTTP 500") << Reply::http(500, "no JSON");
        QTest::newRow("connection lost") << Reply::resetAfterBody().untilAnotherRequest();
    }
    void endsWithTheAnswerToItsOwnLog()
    {
        QFETCH(Reply, reply);
        const ScriptedServer server(servicePort(), {reply});
        QVERIFY(server.isListening());
        const Sandbox sandbox;
        QVERIFY(addUser(sandbox));
        const ToolResult result = sandbox.runTool({});
        QVERIFY2(result.isSuccess(), result.describe());
        QCOMPARE(server.distinctRequests().size(), 1);
        QCOMPARE(sandbox.ownLogs().size(), 1);
    }

    void staysWhenTheAnswerToItsOwnLogIsNotJson()
    {
        const ScriptedServer server(servicePort(), {Reply::http(200, "OK")});
        QVERIFY(server.isListening());
        const Sandbox sandbox;
        QVERIFY(addUser(sandbox));
        const auto run = sandbox.startTool({});
        QVERIFY(server.waitForRequests(1));
        // The slot that looks at the answer closes the file first.
        const QString ownLog = sandbox.ownLogs().value(0);
        QVERIFY(waitFor([&] { return !run->isRunning() || !hasOpen(run->processId(), ownLog); }));
        QVERIFY(!waitFor([&] { return !run->isRunning(); }, kStaysMs));

        run->terminate();
        const ToolResult result = run->finish();
        QVERIFY2(result.crashed && !result.timedOut, result.describe());
        QCOMPARE(server.requests().size(), 1);
    }

private:
    static constexpr int kStaysMs = 1000;
};

QTEST_GUILESS_MAIN(TestServiceAnswers)
#include "tst_serviceanswers.moc"
