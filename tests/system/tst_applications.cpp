#include "support/files/fileio.h"
#include "support/tool/toolsetup.h"
#include "support/wire/arrivals.h"
#include "support/wire/endpoints.h"
#include "support/wire/multipartform.h"

#include <QDir>
#include <QFileInfo>
#include <QTest>

/// Where the tool keeps its logs, which depends on where it is installed.
class TestApplications : public QObject
{
    Q_OBJECT

private slots:
    void keepsItsLogsBesideItselfOnlyBelowApplications_data()
    {
        QTest::addColumn<QString>("parent");
        QTest::addColumn<bool>("beside");
        QTest::newRow("/Applications") << QStringLiteral("/Applications") << true;
        QTest::newRow("a name that begins like it") << QStringLiteral("/Applications of kx tests") << true;
        QTest::newRow("elsewhere") << home_.filePath(QStringLiteral("Applications")) << false;
    }
    void keepsItsLogsBesideItselfOnlyBelowApplications()
    {
        QFETCH(QString, parent);
        QFETCH(bool, beside);
        const Sandbox sandbox(Sandbox::builtTool(), parent);
        if (!sandbox.isValid())
            QSKIP("no permission to install below /Applications");
        const QString home = sandbox.home();
        const QString app = sandbox.appDirectory();
        const QString base = sandbox.baseDirectory();
        QCOMPARE(base == app, beside);
        QVERIFY(base == app || base.startsWith(home));
        const QString appStale = app + QStringLiteral("/sdk_log/20200101000000.log");
        const QString homeStale = home + QStringLiteral("/.config/KxLogReport/sdk_log/20200101000000.log");
        for (const QString &path : {appStale, homeStale})
            QVERIFY(QDir().mkpath(QFileInfo(path).path()) && writeFile(path, "stale"));

        const ToolResult result = sandbox.runTool({});
        QVERIFY2(result.isSuccess(), result.describe());
        QCOMPARE(filesBelow(app + QStringLiteral("/logs")).size(), beside ? 2 : 0);
        QCOMPARE(sandbox.ownLogs().size(), 1);
        QCOMPARE(QFile::exists(appStale), !beside);
        if (base != home + QStringLiteral("/Library/Preferences/KxLogReport"))
            QCOMPARE(QFile::exists(homeStale), beside);
        if (beside)
            QCOMPARE(filesBelow(home).size(), 1);
    }

    void readsTheIniBesideItself()
    {
        const Sandbox sandbox(Sandbox::builtTool(), QStringLiteral("/Applications"));
        if (!sandbox.isValid())
            QSKIP("no permission to install below /Applications");
        const ScriptedServer server(servicePort());
        QVERIFY(server.isListening());
        QVERIFY(addUser(sandbox));
        QVERIFY(!addLog(sandbox, QStringLiteral("log1"), "text").isEmpty());

        const ToolResult result = sandbox.runTool({});
        QVERIFY2(result.isSuccess(), result.describe());
        QCOMPARE(sentFileNames(server), (QStringList{QStringLiteral("log1.log"), QStringLiteral("own log")}));
        QCOMPARE(parseForm(server.requests().last()).body("file"), sandbox.ownLogText());
        QVERIFY(sandbox.ownLogs().first().startsWith(sandbox.appDirectory() + QStringLiteral("/logs/upload/")));
        QCOMPARE(sandbox.groups(), QStringList{QStringLiteral("system")});
        QCOMPARE(filesBelow(sandbox.home()), QStringList());
    }

private:
    const QTemporaryDir home_;
};

QTEST_GUILESS_MAIN(TestApplications)
#include "tst_applications.moc"
