#include "support/tool/toolrun.h"

#include <QTemporaryDir>
#include <QTest>

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
};

QTEST_GUILESS_MAIN(TestLastResort)
#include "tst_lastresort.moc"
