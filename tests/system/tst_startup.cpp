#include "support/files/fileio.h"
#include "support/files/logrecords.h"
#include "support/tool/toolsetup.h"
#include "support/wire/arrivals.h"
#include "support/wire/endpoints.h"
#include "support/wire/multipartform.h"

#include <QDir>
#include <QLibraryInfo>
#include <QRegularExpression>
#include <QTest>

/// What the tool makes of the way in which it is started.
class TestStartup : public QObject
{
    Q_OBJECT

private slots:
    void takesItsFolderFromTheTextBeforeABackslash_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QByteArray>("folder");
        const auto row = [](const char *name, const char *command, const char *folder) {
            QTest::newRow(name) << QString::fromLatin1(command) << QByteArray(folder);
        };
        row("absolute", "exec \"$0\"", "start");
        row("relative", "exec ../app/KxLogReport", "start");
        row("found in PATH", "PATH=\"$PWD/../app:$PATH\"; exec KxLogReport", "start");
        row("backslash behind no folder", "exec -a 'nowhere\\KxLogReport' \"$0\"", "start");
        row("last backslash behind a folder", "exec -a \"$PWD/../ot\\her\\KxLogReport\" \"$0\"", "ot\\her");
        row("slashes only, a folder itself", "exec -a \"$PWD/down\" \"$0\"", "start/down");
    }
    /// A relative path in upload.ini shows which folder is the current one.
    void takesItsFolderFromTheTextBeforeABackslash()
    {
        QFETCH(QString, command);
        QFETCH(QByteArray, folder);
        const ScriptedServer server(servicePort());
        QVERIFY(server.isListening());
        const Sandbox sandbox;
        for (const char *name : {"start", "start/down", "ot\\her", "app"}) {
            const QString path = sandbox.root() + QLatin1Char('/') + QLatin1String(name);
            QVERIFY(QDir().mkpath(path));
            QVERIFY(writeFile(path + QStringLiteral("/here.txt"), name));
        }
        QVERIFY(addUser(sandbox));
        QVERIFY(addGroup(sandbox, QStringLiteral("log1"), QStringLiteral("here.txt")));

        const ToolResult result = sandbox.runTool({}, 6 * kPromptMs, byShell(QStringLiteral("cd start; ") + command));
        QVERIFY2(result.isSuccess(), result.describe());
        QCOMPARE(sentFileNames(server), (QStringList{QStringLiteral("here.txt"), QStringLiteral("own log")}));
        QCOMPARE(parseForm(server.requests().first()).body("file"), folder);
    }

    void looksForPluginsAtItsOwnPathFirst()
    {
        const ScriptedServer server(servicePort());
        QVERIFY(server.isListening());
        const Sandbox sandbox;
        QVERIFY(addUser(sandbox));
        ToolOptions options;
        options.environment.insert(QStringLiteral("QT_DEBUG_PLUGINS"), QStringLiteral("1"));
        const ToolResult result = sandbox.runTool({}, 6 * kPromptMs, options);
        QVERIFY2(result.isSuccess(), result.describe());

        static const QRegularExpression search(QStringLiteral("checking directory path \"(.*)/[^/\"]+\""));
        QStringList searched;
        auto matches = search.globalMatch(QString::fromLocal8Bit(result.standardError));
        while (matches.hasNext())
            searched.append(matches.next().captured(1));
        QCOMPARE(searched, (QStringList{sandbox.toolPath(), QLibraryInfo::location(QLibraryInfo::PluginsPath),
                                        sandbox.appDirectory()}));
    }

    void readsNoArgumentButTheFirst()
    {
        const ScriptedServer server(servicePort());
        QVERIFY(server.isListening());
        const Sandbox sandbox;
        const QString dump = QString::fromUtf8("no such d\xc3\xbcmp.dmp");
        const ToolResult result = sandbox.runTool({dump, sandbox.toolPath(), QStringLiteral("--help")});

        QVERIFY2(result.isSuccess(), result.describe());
        QCOMPARE(sentFileNames(server), QStringList{QStringLiteral("own log")});
        const MultipartForm form = parseForm(server.requests().first());
        QCOMPARE(form.body("room"), QByteArray(""));
        QCOMPARE(form.body("namespace"), QByteArray(""));
        const QStringList lines = recordLines(LogRecords(sandbox.ownLogText()));
        QCOMPARE(lines.value(0), QStringLiteral("main: 4 \"%1\"").arg(sandbox.appDirectory()));
        QCOMPARE(lines.value(1), QStringLiteral("KxUpload::setCrashPath: \"%1\"").arg(dump));
        QVERIFY(sandbox.iniBytes().isNull());
    }

    void takesAnEmptyArgumentForNoCrashFile()
    {
        const ScriptedServer server(servicePort());
        QVERIFY(server.isListening());
        const Sandbox sandbox;
        const ToolResult result = sandbox.runTool({QString()});
        QVERIFY2(result.isSuccess(), result.describe());
        QCOMPARE(server.connections(), 0);
        const QStringList lines = recordLines(LogRecords(sandbox.ownLogText()));
        QCOMPARE(lines.value(0), QStringLiteral("main: 2 \"%1\"").arg(sandbox.appDirectory()));
        QCOMPARE(lines.value(1), QStringLiteral("KxUpload::setCrashPath: \"\""));
    }

    void worksInAFolderOfAnyName()
    {
        const ScriptedServer server(servicePort());
        QVERIFY(server.isListening());
        const QTemporaryDir parent;
        const Sandbox sandbox(Sandbox::builtTool(),
                              parent.filePath(QString::fromUtf8("Ger\xc3\xa4t \xe6\x97\xa5 & 'x'")));
        QVERIFY(sandbox.isValid());
        const QString group = QString::fromUtf8("client \xc3\xbc 1");
        QVERIFY(addUser(sandbox));
        QVERIFY(addGroup(sandbox, group, QString()));
        const QString path = sandbox.addFile(QStringLiteral("logs/") + group + QStringLiteral(".log"), "by its name");
        QVERIFY(!path.isEmpty());

        const ToolResult result = sandbox.runTool({});
        QVERIFY2(result.isSuccess(), result.describe());
        QCOMPARE(sentFileNames(server), (QStringList{group + QStringLiteral(".log"), QStringLiteral("own log")}));
        QCOMPARE(parseForm(server.requests().first()).body("file"), QByteArray("by its name"));
        QCOMPARE(sandbox.groups(), QStringList{QStringLiteral("system")});
        QVERIFY(QFile::exists(path));
    }
};

QTEST_GUILESS_MAIN(TestStartup)
#include "tst_startup.moc"
