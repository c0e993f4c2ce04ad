#include "support/tool/toolsetup.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

/// The end of a process that blocks.
class TestLastResort : public QObject
{
    Q_OBJECT

private slots:
    void endsABlockedProcessWithStatusZero()
    {
        const QTemporaryDir directory;
        ToolRun run({QStringLiteral(KX_BLOCKED_PROBE), QStringLiteral("1")}, directory.path(),
                    QProcessEnvironment::systemEnvironment(), directory.filePath(QStringLiteral("probe")));
        const ToolResult result = run.finish();
        QVERIFY2(result.isSuccess(), result.describe());
        QVERIFY2(result.elapsedMs >= 900, result.describe());
    }

    /// Whoever opens a FIFO that nobody writes to waits for ever.
    void endsAToolWhoseListIsAFifo()
    {
#ifndef KX_SHORT_ALARM_LIBRARY
        QSKIP("the alarm can only be replaced on Linux");
#else
        const Sandbox sandbox;
        QVERIFY(sandbox.writeRawIni(QByteArray()));
        QVERIFY(QFile::remove(sandbox.iniPath()));
        QCOMPARE(::mkfifo(QFile::encodeName(sandbox.iniPath()).constData(), 0600), 0);
        const ToolResult result = sandbox.runTool({}, 10000, preloading(QStringLiteral(KX_SHORT_ALARM_LIBRARY)));
        QVERIFY2(result.isSuccess(), result.describe());
        QVERIFY2(result.elapsedMs >= 900, result.describe());
#endif
    }
};

QTEST_GUILESS_MAIN(TestLastResort)
#include "tst_lastresort.moc"
