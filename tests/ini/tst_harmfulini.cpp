#include "damage.h"
#include "support/files/fileio.h"
#include "support/tool/sandbox.h"
#include "support/tool/toolsetup.h"
#include "support/wire/arrivals.h"
#include "support/wire/endpoints.h"

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

/// A damaged upload.ini neither ends the tool nor loses a group, nor a byte of its own.
class TestHarmfulIni : public QObject
{
    Q_OBJECT

private slots:
    void sendsEverything_data()
    {
        QTest::addColumn<QByteArray>("damage");
        QTest::addColumn<bool>("canBeRewritten");
        // Qt 6 reads these as no value.
        if (QT_VERSION < QT_VERSION_CHECK(6, 0, 0)) {
            QTest::newRow("huge list as the rooms of a group") << "[log_b]\nroom=" + hugeList() << false;
            QTest::newRow("huge list as all rooms") << "[room]\n7=" + hugeList() << false;
        }
        QTest::newRow("time without its zone") << "[room_stays]\ntime=" + timeWithoutZone() << false;
        QTest::newRow("group without a name") << QByteArray("[]\npath=/nowhere") << true;
        QTest::newRow("group of a name without letters") << QByteArray("[/]\npath=/nowhere") << true;
        QTest::newRow("group in a group without a name") << QByteArray("[%2Finner]\npath=/nowhere") << true;
    }
    void sendsEverything()
    {
        QFETCH(const QByteArray, damage);
        QFETCH(const bool, canBeRewritten);
        const ScriptedServer server(servicePort());
        QVERIFY(server.isListening());
        const Sandbox sandbox;
        const QByteArray ini = damagedIni(sandbox, damage);
        QVERIFY(sandbox.writeRawIni(ini));

        const ToolResult result = sandbox.runTool({});
        QVERIFY2(result.isSuccess(), result.describe());
        QCOMPARE(sentFileNames(server),
                 (QStringList{QStringLiteral("a.log"), QStringLiteral("z.log"), QStringLiteral("own log")}));
        QCOMPARE(filesBelow(sandbox.appDirectory() + QStringLiteral("/config")),
                 QStringList(QStringLiteral("upload.ini")));
        if (canBeRewritten) {
            const QStringList groups = sandbox.groups();
            QVERIFY2(groups.contains(QStringLiteral("system")), sandbox.iniBytes().constData());
            QVERIFY(!groups.contains(QStringLiteral("log_a")) && !groups.contains(QStringLiteral("log_z")));
            QCOMPARE(sandbox.iniValue(QStringLiteral("system/nickname")), QVariant(QStringLiteral("ann")));
        } else {
            QCOMPARE(sandbox.iniBytes(), ini);
            QVERIFY(sandbox.ownLogText().contains("cannot rewrite \"" + sandbox.iniPath().toUtf8()));
        }
    }

    void sendsNothingWhileValuesAreNestedWithoutEnd()
    {
        const ScriptedServer server(servicePort());
        QVERIFY(server.isListening());
        const Sandbox sandbox;
        const QByteArray ini = damagedIni(sandbox, "room=" + nestedLists(100000));
        QVERIFY(sandbox.writeRawIni(ini));
        const ToolResult result = sandbox.runTool({});
        QVERIFY2(result.isSuccess(), result.describe());
        QVERIFY(server.requests().isEmpty());
        QCOMPARE(sandbox.iniBytes(), ini);
        QVERIFY(sandbox.ownLogText().contains("cannot read \"system\" \"" + sandbox.iniPath().toUtf8()));
    }

    void survivesDamageThatComesDuringTheRun_data()
    {
        QTest::addColumn<QByteArray>("damage");
        if (QT_VERSION < QT_VERSION_CHECK(6, 0, 0)) {
            QTest::newRow("huge list") << "[log_y]\nroom=" + hugeList();
            QTest::newRow("huge list in a group that waits") << "[log_z]\nroom=" + hugeList();
        }
        QTest::newRow("lists in lists") << "[log_z]\nroom=" + nestedLists(100000);
        QTest::newRow("time without its zone") << "[log_z]\nroom=" + timeWithoutZone();
    }
    void survivesDamageThatComesDuringTheRun()
    {
        QFETCH(const QByteArray, damage);
        const Sandbox sandbox;
        const QByteArray ini = damagedIni(sandbox, QByteArray()) + damage + '\n';
        const ScriptedServer server(servicePort(),
                                    {Reply::json().onHeaders([&] { writeFile(sandbox.iniPath(), ini); })});
        QVERIFY(server.isListening());
        QVERIFY(sandbox.writeRawIni(ini.left(ini.size() - damage.size() - 1)));
        const ToolResult result = sandbox.runTool({});
        QVERIFY2(result.isSuccess(), result.describe());
        QCOMPARE(sentFileNames(server).first(), QStringLiteral("a.log"));
        QCOMPARE(sentFileNames(server).last(), QStringLiteral("own log"));
        QCOMPARE(sandbox.iniBytes(), ini);
        QVERIFY(sandbox.ownLogText().contains("cannot rewrite \"" + sandbox.iniPath().toUtf8()));
    }
};

QTEST_GUILESS_MAIN(TestHarmfulIni)
#include "tst_harmfulini.moc"
