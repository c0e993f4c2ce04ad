#include "support/tool/toolsetup.h"
#include "support/wire/arrivals.h"
#include "support/wire/endpoints.h"
#include "support/wire/multipartform.h"

#include <QFile>
#include <QTest>

Q_DECLARE_METATYPE(Reply)

namespace {

constexpr int kMiB = 1024 * 1024;

/// What is left of a group whose file met a fault, and how its file arrived.
enum class Outcome { KeptUnsent, KeptThoughSent, Forgotten };

} // namespace

Q_DECLARE_METATYPE(Outcome)

/// What the service, or the way to it, does to one file of three: the other two are none the worse for it.
class TestServiceFaults : public QObject
{
    Q_OBJECT

private slots:
    void concernOneFileOnly_data()
    {
        QTest::addColumn<Reply>("fault");
        QTest::addColumn<Outcome>("outcome");
        const auto row = [](const char *name, const Reply &fault, Outcome outcome) {
            QTest::newRow(name) << fault.untilAnotherRequest() << outcome;
        };
        row("reset before the body", Reply::resetAfterHeaders(), Outcome::KeptUnsent);
        row("reset during the body", Reply::resetDuringBody(kMiB / 2), Outcome::KeptUnsent);
        row("reset after the body", Reply::resetAfterBody(), Outcome::KeptThoughSent);
        row("closed without an answer", Reply::closeAfterBody(), Outcome::KeptThoughSent);
        row("garbage", Reply::garbage(), Outcome::KeptThoughSent);
        row("cut answer", Reply::cutAnswer("{\"Code\":"), Outcome::KeptThoughSent);
        row("cut answer that is complete JSON", Reply::cutAnswer("{\"Code\":0}"), Outcome::KeptThoughSent);
        row("slow drip", Reply::drip("{\"Code\":0}", 1, 100), Outcome::Forgotten);
        row("slow reader", Reply::json().readingSlowly(16 * 1024, 10), Outcome::Forgotten);
        row("10 MB of answer", Reply::big(10 * kMiB), Outcome::Forgotten);
        row("10 MB that are no JSON", Reply::http(200, QByteArray(10 * kMiB, 'x')), Outcome::KeptThoughSent);
        row("empty answer", Reply::http(200, QByteArray()), Outcome::KeptThoughSent);
        row("401", Reply::http(401, "{\"Code\":0}"), Outcome::KeptThoughSent);
        row("401 that asks for a password",
            Reply::http(401, "{\"Code\":0}", {{"WWW-Authenticate", "Basic realm=\"logs\""}}), Outcome::KeptThoughSent);
        row("407", Reply::http(407, "{\"Code\":0}"), Outcome::KeptThoughSent);
        row("413", Reply::http(413, "{\"Code\":0}"), Outcome::KeptThoughSent);
        row("413 in the middle of the body", earlyRefusal(), Outcome::KeptUnsent);
        row("500", Reply::http(500, "{\"Code\":0}"), Outcome::KeptThoughSent);
        row("503", Reply::http(503, "{\"Code\":0}"), Outcome::KeptThoughSent);
        row("503 without JSON", Reply::http(503, "<html>later</html>"), Outcome::KeptThoughSent);
    }
    void concernOneFileOnly()
    {
        QFETCH(Reply, fault);
        QFETCH(Outcome, outcome);
        const ScriptedServer server(servicePort(), {Reply::json(), fault});
        QVERIFY(server.isListening());
        const Sandbox sandbox;
        QVERIFY(addUser(sandbox));
        QVERIFY(!addLog(sandbox, QStringLiteral("a"), "first").isEmpty());
        const QString sdkLog = addLog(sandbox, QStringLiteral("b"), QByteArray(kMiB, 'b'), 1);
        QVERIFY(!addLog(sandbox, QStringLiteral("c"), "last").isEmpty());

        const ToolResult result = sandbox.runTool({});
        QVERIFY2(result.isSuccess(), result.describe().left(10000));
        qInfo("took %lld ms", result.elapsedMs);
        QVERIFY2(result.elapsedMs < kPromptMs, result.describe().left(10000));
        QStringList arrived{QStringLiteral("a.log"), QStringLiteral("c.log"), QStringLiteral("own log")};
        if (outcome != Outcome::KeptUnsent)
            arrived.insert(1, QStringLiteral("b.log"));
        QCOMPARE(arrivedNames(server), arrived);
        QStringList groups{QStringLiteral("b"), QStringLiteral("system")};
        if (outcome == Outcome::Forgotten)
            groups.removeFirst();
        QCOMPARE(sandbox.groups(), groups);
        QCOMPARE(QFile::exists(sdkLog), outcome != Outcome::Forgotten);
    }

    void bringAnAnswerOfAnySizeIntoTheOwnLog()
    {
        const QByteArray text(10 * kMiB, 'y');
        const ScriptedServer server(servicePort(), {Reply::json("{\"Code\":0,\"Text\":\"" + text + "\"}")});
        QVERIFY(server.isListening());
        const Sandbox sandbox;
        QVERIFY(addUser(sandbox));
        QVERIFY(!addLog(sandbox, QStringLiteral("a"), "text").isEmpty());
        const ToolResult result = sandbox.runTool({});
        QVERIFY2(result.isSuccess(), result.describe().left(10000));
        QVERIFY(sandbox.ownLogText().contains(text));
        QCOMPARE(arrivedNames(server), (QStringList{QStringLiteral("a.log"), QStringLiteral("own log")}));
        QVERIFY(parseForm(server.requests().last()).body("file").contains(text));
    }

private:
    /// A service that has seen enough after half of the body: it answers and closes.
    static Reply earlyRefusal()
    {
        Reply reply = Reply::http(413, "{\"Code\":0}");
        reply.when = Reply::When::DuringBody;
        reply.actAtBodyBytes = kMiB / 2;
        reply.then = Reply::Then::Close;
        return reply;
    }
};

QTEST_GUILESS_MAIN(TestServiceFaults)
#include "tst_servicefaults.moc"
