#include "damage.h"
#include "support/tool/sandbox.h"
#include "support/wire/arrivals.h"
#include "support/wire/endpoints.h"

#include <QDir>
#include <QTest>

namespace {

/// Two logs to send, and \a damage between their groups.
QByteArray damagedIni(const Sandbox &sandbox, const QByteArray &damage)
{
    const QByteArray first = sandbox.addFile(QStringLiteral("a.log"), "one").toUtf8();
    const QByteArray last = sandbox.addFile(QStringLiteral("z.log"), "two").toUtf8();
    return "[system]\nnickname=ann\n[log_a]\npath=" + first + "\n" + damage + "\n[log_z]\npath=" + last + "\n";
}

} // namespace

/// A damaged upload.ini neither ends the tool nor loses a group.
class TestHarmfulIni : public QObject
{
    Q_OBJECT

private slots:
    void sendsEverything_data()
    {
        QTest::addColumn<QByteArray>("damage");
        QTest::newRow("huge list as the rooms of a group") << "room=" + hugeList();
        QTest::newRow("huge list as all rooms") << "[room]\n7=" + hugeList();
        QTest::newRow("lists in lists") << "room=" + nestedLists(100000);
        QTest::newRow("time without its zone") << "[room_stays]\ntime=" + timeWithoutZone();
        QTest::newRow("group without a name") << QByteArray("[]\npath=/nowhere");
        QTest::newRow("group of a name without letters") << QByteArray("[/]\npath=/nowhere");
        QTest::newRow("group in a group without a name") << QByteArray("[%2Finner]\npath=/nowhere");
    }
    void sendsEverything()
    {
        QFETCH(const QByteArray, damage);
        const ScriptedServer server(servicePort());
        QVERIFY(server.isListening());
        const Sandbox sandbox;
        QVERIFY(sandbox.writeRawIni(damagedIni(sandbox, damage)));

        const ToolResult result = sandbox.runTool({});
        QVERIFY2(result.isSuccess(), result.describe());
        QCOMPARE(sentFileNames(server),
                 (QStringList{QStringLiteral("a.log"), QStringLiteral("z.log"), QStringLiteral("own log")}));
        const QStringList groups = sandbox.groups();
        QVERIFY2(groups.contains(QStringLiteral("system")), sandbox.iniBytes().constData());
        QVERIFY(!groups.contains(QStringLiteral("log_a")) && !groups.contains(QStringLiteral("log_z")));
        QCOMPARE(sandbox.iniValue(QStringLiteral("system/nickname")), QVariant(QStringLiteral("ann")));
    }

    void keepsGroupsThatAreNotAccepted()
    {
        const ScriptedServer server(servicePort(), {}, Reply::json("{\"Code\":5}"));
        QVERIFY(server.isListening());
        const Sandbox sandbox;
        const QByteArray damage = "room=" + hugeList() + "\n[]\nkey=1";
        QVERIFY(sandbox.writeRawIni(damagedIni(sandbox, damage)));
        const ToolResult result = sandbox.runTool({});
        QVERIFY2(result.isSuccess(), result.describe());
        QVERIFY(sandbox.groups().contains(QStringLiteral("log_a")) &&
                sandbox.groups().contains(QStringLiteral("log_z")));
        // Nothing is taken away: the value is a text now.
        QVERIFY(sandbox.iniBytes().contains("room=@" + hugeList()));
    }

    void sendsNothingWhenTheFileCannotBeMadeHarmless()
    {
        const ScriptedServer server(servicePort());
        QVERIFY(server.isListening());
        const Sandbox sandbox;
        const QByteArray ini = damagedIni(sandbox, "room=" + hugeList());
        QVERIFY(sandbox.writeRawIni(ini));
        QVERIFY(QDir().mkpath(sandbox.iniPath() + QStringLiteral(".lock")));
        const ToolResult result = sandbox.runTool({});
        QVERIFY2(result.isSuccess(), result.describe());
        QVERIFY(server.requests().isEmpty());
        QCOMPARE(sandbox.iniBytes(), ini);
    }
};

QTEST_GUILESS_MAIN(TestHarmfulIni)
#include "tst_harmfulini.moc"
