#include "support/tool/sandbox.h"

#include "support/files/fileio.h"
#include "support/process/waitfor.h"

#include <QDir>
#include <QFileInfo>
#include <QSettings>
#include <QTest>

#include <csignal>

namespace {

QString sampleTool()
{
    return QStringLiteral(KX_SAMPLE_TOOL);
}

} // namespace

class TestSandbox : public QObject
{
    Q_OBJECT

private slots:
    void installsACopyThatSeesItsOwnFolder()
    {
        const Sandbox sandbox(sampleTool());
        QVERIFY(sandbox.isValid());
        QVERIFY(!QFileInfo(sandbox.toolPath()).isSymLink());
        QVERIFY(QFileInfo(sandbox.appDirectory() + QStringLiteral("/logs")).isDir());
        const ToolResult result = sandbox.runTool({QStringLiteral("directory"), QString()});
        QVERIFY2(result.isSuccess(), result.describe());
        QCOMPARE(result.standardOutput, QFile::encodeName(sandbox.appDirectory()) + '\n');
    }

    void leavesNothingBehind()
    {
        const QTemporaryDir outside;
        const QString made = outside.path() + QStringLiteral("/a");
        QString root;
        {
            const Sandbox sandbox(sampleTool(), made + QStringLiteral("/b"));
            QVERIFY(sandbox.isValid());
            root = sandbox.root();
            QVERIFY(root.startsWith(QDir(outside.path()).canonicalPath()));
        }
        QVERIFY(!QFileInfo::exists(root));
        QVERIFY(!QFileInfo::exists(made));
        QVERIFY(QFileInfo::exists(outside.path()));
    }

    void keepsAParentThatItDidNotMake()
    {
        const QTemporaryDir outside;
        {
            const Sandbox sandbox(sampleTool(), outside.path());
        }
        QVERIFY(QFileInfo::exists(outside.path()));
    }

    void isInvalidWithoutATool() { QVERIFY(!Sandbox(QStringLiteral("/nowhere/tool")).isValid()); }

    void writesAndReadsTheIni()
    {
        const Sandbox sandbox(sampleTool());
        const QString name = QString::fromUtf8("J\xc3\xbcrgen");
        QVERIFY(sandbox.writeIni([&](QSettings &ini) { ini.setValue(QStringLiteral("system/nickname"), name); }));
        QVERIFY(sandbox.writeIni([](QSettings &ini) { ini.setValue(QStringLiteral("log1/sdk"), 1); }));
        QCOMPARE(sandbox.groups(), (QStringList{QStringLiteral("log1"), QStringLiteral("system")}));
        QCOMPARE(sandbox.iniValue(QStringLiteral("system/nickname")).toString(), name);
        QVERIFY2(sandbox.iniBytes().contains("[log1]\nsdk=1"), sandbox.iniBytes());
        QVERIFY(sandbox.writeRawIni("[other]\nx=a, b\n"));
        QCOMPARE(sandbox.iniBytes(), QByteArray("[other]\nx=a, b\n"));
        QCOMPARE(sandbox.groups(), QStringList{QStringLiteral("other")});
    }

    void seesChangesOfTheSameSizeAtOnce()
    {
        const Sandbox sandbox(sampleTool());
        for (int i = 100; i < 200; ++i) {
            const QByteArray group = "g" + QByteArray::number(i);
            QVERIFY(sandbox.writeRawIni("[" + group + "]\nx=1\n"));
            QCOMPARE(sandbox.groups(), QStringList{QString::fromLatin1(group)});
        }
    }

    void seesWhatTheToolRemoved()
    {
        const Sandbox sandbox(sampleTool());
        QVERIFY(sandbox.writeRawIni("[a]\nx=1\n[b]\nx=1\n"));
        QVERIFY(sandbox.runTool({QStringLiteral("forget"), QStringLiteral("a")}).isSuccess());
        QCOMPARE(sandbox.groups(), QStringList{QStringLiteral("b")});
        QVERIFY(sandbox.runTool({QStringLiteral("forget"), QStringLiteral("b")}).isSuccess());
        QCOMPARE(sandbox.groups(), QStringList());
        QCOMPARE(Sandbox(sampleTool()).groups(), QStringList());
    }

    void addsFilesBelowTheAppFolder()
    {
        const Sandbox sandbox(sampleTool());
        const QString path = sandbox.addFile(QStringLiteral("logs/deep/a b.log"), "text");
        QCOMPARE(path, sandbox.appDirectory() + QStringLiteral("/logs/deep/a b.log"));
        QCOMPARE(readFile(path), QByteArray("text"));
        QCOMPARE(sandbox.addFile(QStringLiteral("logs/deep"), "text"), QString());
    }

    void namesTheLogFoldersAtHome()
    {
        const Sandbox sandbox(sampleTool());
        QVERIFY(sandbox.logDirectory().startsWith(sandbox.home() + QLatin1Char('/')));
        QVERIFY(sandbox.logDirectory().endsWith(QStringLiteral("/sampletool/logs/upload")));
        QVERIFY(sandbox.sdkLogDirectory().endsWith(QStringLiteral("/sampletool/sdk_log")));
        QCOMPARE(sandbox.ownLogs(), QStringList());
        QVERIFY(sandbox.ownLogText().isNull());
    }

    void readsTheNewestOfItsOwnLogs()
    {
        const Sandbox sandbox(sampleTool());
        QVERIFY(QDir().mkpath(sandbox.logDirectory()));
        const QString start = sandbox.logDirectory() + QStringLiteral("/upload_2024_05_01_09_30_0");
        QVERIFY(writeFile(start + QStringLiteral("1.log"), "new"));
        QVERIFY(writeFile(start + QStringLiteral("0.log"), "old"));
        QVERIFY(writeFile(sandbox.logDirectory() + QStringLiteral("/2024_05_01.dat"), "marker"));
        QCOMPARE(sandbox.ownLogs(), (QStringList{start + QStringLiteral("0.log"), start + QStringLiteral("1.log")}));
        QCOMPARE(sandbox.ownLogText(), QByteArray("new"));
    }

    void buildsTheEnvironmentFromScratch_data()
    {
        QTest::addColumn<QString>("variable");
        QTest::addColumn<QByteArray>("value");
        QTest::newRow("the caller's own") << QStringLiteral("KX_OF_THE_CALLER") << QByteArray("unset\n");
        QTest::newRow("XDG_CONFIG_HOME") << QStringLiteral("XDG_CONFIG_HOME") << QByteArray("unset\n");
        QTest::newRow("QT_LOGGING_RULES") << QStringLiteral("QT_LOGGING_RULES") << QByteArray("unset\n");
        QTest::newRow("LANG") << QStringLiteral("LANG") << QByteArray("C.UTF-8\n");
        QTest::newRow("TZ") << QStringLiteral("TZ") << QByteArray("Asia/Tokyo\n");
        QTest::newRow("addition") << QStringLiteral("KX_ADDED") << QByteArray("yes\n");
    }
    void buildsTheEnvironmentFromScratch()
    {
        QFETCH(QString, variable);
        QTEST(withCallerEnvironment(variable), "value");
    }

    void givesTheToolItsOwnHome()
    {
        const Sandbox sandbox(sampleTool());
        const ToolResult result = sandbox.runTool({QStringLiteral("variable"), QStringLiteral("HOME")});
        QCOMPARE(result.standardOutput, QFile::encodeName(sandbox.home()) + '\n');
    }

    void reportsStatusAndBothStreams()
    {
        const Sandbox sandbox(sampleTool());
        const ToolResult result =
            sandbox.runTool({QStringLiteral("say"), QStringLiteral("out"), QStringLiteral("complain"),
                             QStringLiteral("err"), QStringLiteral("exit"), QStringLiteral("3")});
        QVERIFY(result.started && !result.crashed && !result.timedOut && !result.isSuccess());
        QCOMPARE(result.exitCode, 3);
        QCOMPARE(result.standardOutput, QByteArray("out\n"));
        QCOMPARE(result.standardError, QByteArray("err\n"));
    }

    void reportsACrash()
    {
        const ToolResult result = Sandbox(sampleTool()).runTool({QStringLiteral("abort"), QString()});
        QVERIFY(result.started && result.crashed && !result.timedOut && !result.isSuccess());
    }

    void endsAToolThatRunsTooLong()
    {
        const ToolResult result =
            Sandbox(sampleTool()).runTool({QStringLiteral("sleep"), QStringLiteral("60000")}, 100);
        QVERIFY(result.timedOut && !result.isSuccess());
        QVERIFY2(result.elapsedMs >= 100 && result.elapsedMs < 30000, result.describe());
    }

    void reportsAToolThatDoesNotStart()
    {
        const Sandbox sandbox(sampleTool());
        QVERIFY(QFile::remove(sandbox.toolPath()));
        const ToolResult result = sandbox.runTool({});
        QVERIFY(!result.started && !result.isSuccess());
    }

    void runsTheToolBehindAPrefix()
    {
        ToolOptions options;
        options.prefix = QStringList{QStringLiteral("env"), QStringLiteral("KX_FROM_PREFIX=1")};
        const ToolResult result =
            Sandbox(sampleTool())
                .runTool({QStringLiteral("variable"), QStringLiteral("KX_FROM_PREFIX")}, 30000, options);
        QCOMPARE(result.standardOutput, QByteArray("1\n"));
    }

    void showsOutputOfARunningTool()
    {
        const Sandbox sandbox(sampleTool());
        const auto run = sandbox.startTool(
            {QStringLiteral("complain"), QStringLiteral("here"), QStringLiteral("sleep"), QStringLiteral("60000")});
        QVERIFY(waitFor([&] { return run->standardError() == "here\n"; }));
        QVERIFY(run->isRunning());
        run->kill();
        const ToolResult result = run->finish();
        QVERIFY(result.crashed && !result.timedOut);
        QVERIFY(!run->isRunning());
    }

    void noticesTheEndWithoutEvents()
    {
        const Sandbox sandbox(sampleTool());
        const auto run = sandbox.startTool({QStringLiteral("say"), QStringLiteral("x")});
        const QDeadlineTimer deadline(10000);
        while (run->isRunning() && !deadline.hasExpired()) {
        }
        QVERIFY(!run->isRunning());
        QVERIFY(run->finish().isSuccess());
    }

    void neverBlocksAToolThatWritesMuch()
    {
        const ToolResult result = Sandbox(sampleTool()).runTool({QStringLiteral("flood"), QStringLiteral("3000000")});
        QVERIFY2(result.isSuccess(), "ended by itself");
        QCOMPARE(result.standardError.size(), 3000001);
    }

    void endsTheToolWithItsScope()
    {
        const Sandbox sandbox(sampleTool());
        auto run = sandbox.startTool({QStringLiteral("sleep"), QStringLiteral("60000")});
        const auto process = pid_t(run->processId());
        QCOMPARE(::kill(process, 0), 0);
        run.reset();
        QVERIFY(::kill(process, 0) != 0);
    }

private:
    static QByteArray withCallerEnvironment(const QString &variable)
    {
        qputenv("KX_OF_THE_CALLER", "1");
        qputenv("XDG_CONFIG_HOME", "/nowhere");
        qputenv("QT_LOGGING_RULES", "a.b=false");
        qputenv("TZ", "Asia/Tokyo");
        ToolOptions options;
        options.environment.insert(QStringLiteral("KX_ADDED"), QStringLiteral("yes"));
        return Sandbox(sampleTool()).runTool({QStringLiteral("variable"), variable}, 30000, options).standardOutput;
    }
};

QTEST_GUILESS_MAIN(TestSandbox)
#include "tst_sandbox.moc"
