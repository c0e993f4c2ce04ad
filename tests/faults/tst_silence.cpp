#include "support/process/waitfor.h"
#include "support/tool/toolsetup.h"
#include "support/wire/arrivals.h"
#include "support/wire/endpoints.h"

#include <QTest>

namespace {

constexpr int kStaysMs = 1500;

} // namespace

/// A service that never answers. That the watchdog ends such a run is a test of its own, which takes five minutes.
class TestSilence : public QObject
{
    Q_OBJECT

private slots:
    void holdsUpTheRunWithoutHarm_data()
    {
        QTest::addColumn<QByteArray>("answer");
        QTest::newRow("no byte of an answer") << QByteArray();
        QTest::newRow("half an answer") << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n{\"Co");
    }
    void holdsUpTheRunWithoutHarm()
    {
        QFETCH(QByteArray, answer);
        Reply silent = Reply::silence();
        silent.head = answer;
        const ScriptedServer server(servicePort(), {Reply::json(), silent});
        QVERIFY(server.isListening());
        const Sandbox sandbox;
        QVERIFY(addUser(sandbox));
        for (const char *group : {"a", "b", "c"})
            QVERIFY(!addLog(sandbox, QLatin1String(group), "text").isEmpty());

        const auto run = sandbox.startTool({});
        QVERIFY(server.waitForRequests(2));
        QVERIFY(!waitFor([&] { return !run->isRunning(); }, kStaysMs));
        run->terminate();
        const ToolResult result = run->finish();
        QVERIFY2(result.crashed && !result.timedOut, result.describe());
        QCOMPARE(arrivedNames(server), (QStringList{QStringLiteral("a.log"), QStringLiteral("b.log")}));
        QCOMPARE(sandbox.groups(), (QStringList{QStringLiteral("b"), QStringLiteral("c"), QStringLiteral("system")}));
    }
};

QTEST_GUILESS_MAIN(TestSilence)
#include "tst_silence.moc"
