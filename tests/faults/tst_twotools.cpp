#include "support/files/inifile.h"
#include "support/tool/toolsetup.h"
#include "support/wire/arrivals.h"
#include "support/wire/endpoints.h"

#include <QFile>
#include <QSettings>
#include <QTest>

namespace {

constexpr int kRepetitions = 5;
constexpr int kGroups = 20;

} // namespace

/// Two tools that are started at the same moment on one installation.
class TestTwoTools : public QObject
{
    Q_OBJECT

private slots:
    void loseNothingTogether()
    {
        for (int i = 1; i <= kRepetitions; ++i) {
            runBoth();
            if (QTest::currentTestFailed()) {
                qInfo("this was repetition %d", i);
                return;
            }
        }
    }

private:
    static void runBoth()
    {
        const ScriptedServer server(servicePort());
        QVERIFY(server.isListening());
        const Sandbox sandbox(Sandbox::builtTool(), fastFolder());
        QVERIFY(addUser(sandbox));
        QVERIFY(sandbox.writeIni([](QSettings &ini) { ini.setValue(QStringLiteral("room/7"), QStringLiteral("x")); }));
        const QVariantMap before = IniFile(sandbox.iniPath()).values();
        QStringList files;
        for (int i = 0; i < kGroups; ++i) {
            const QString group = QStringLiteral("log%1").arg(i, 2, 10, QLatin1Char('0'));
            QVERIFY(!addLog(sandbox, group, group.toLatin1(), i % 4 == 0 ? 1 : 0).isEmpty());
            files.append(group + QStringLiteral(".log"));
        }

        const auto one = sandbox.startTool({});
        const auto two = sandbox.startTool({});
        for (ToolRun *run : {one.get(), two.get()}) {
            const ToolResult result = run->finish();
            QVERIFY2(result.isSuccess(), result.describe());
        }
        QCOMPARE(IniFile(sandbox.iniPath()).values(), before);
        QCOMPARE(filesBelow(sandbox.appDirectory() + QStringLiteral("/config")),
                 QStringList(QStringLiteral("upload.ini")));
        QStringList arrived = arrivedNames(server);
        arrived.removeDuplicates();
        arrived.removeOne(QStringLiteral("own log"));
        arrived.sort();
        QCOMPARE(arrived, files);
        qInfo("%d requests for %d files and two own logs", sentFileNames(server).size(), kGroups);
    }
};

QTEST_GUILESS_MAIN(TestTwoTools)
#include "tst_twotools.moc"
