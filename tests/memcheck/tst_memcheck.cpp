#include "support/files/fileio.h"
#include "support/tool/toolsetup.h"
#include "support/wire/arrivals.h"
#include "support/wire/endpoints.h"

#include <QRegularExpression>
#include <QSettings>
#include <QStandardPaths>
#include <QTest>

#include <cstdio>

namespace {

constexpr int kFoundSomething = 99;
constexpr int kTimeoutMs = 120000;

ToolOptions underValgrind(const QString &report)
{
    ToolOptions options;
    options.prefix =
        QStringList{QStringLiteral("valgrind"), QStringLiteral("--tool=memcheck"),
                    // Tells how often each suppression was used.
                    QStringLiteral("--verbose"), QStringLiteral("--error-exitcode=%1").arg(kFoundSomething),
                    QStringLiteral("--leak-check=full"), QStringLiteral("--show-leak-kinds=definite,possible"),
                    QStringLiteral("--errors-for-leak-kinds=definite,possible"),
                    QStringLiteral("--suppressions=" KX_SUPPRESSIONS), QStringLiteral("--log-file=") + report};
    return options;
}

/// Qt Test cuts long texts.
QByteArray reportOf(const QByteArray &found)
{
    std::fprintf(stderr, "%s\n", found.constData());
    return found;
}

/// How many forms were left at the end, by the report.
int keptForms(const QByteArray &found)
{
    static const QRegularExpression use(
        QStringLiteral("used_suppression: +[0-9]+ form of an upload .* in ([0-9,]+) blocks\n"));
    const QRegularExpressionMatch match = use.match(QString::fromLatin1(found));
    return match.hasMatch() ? match.captured(1).toInt() : 0;
}

} // namespace

/// Whole runs of the tool under Valgrind: no access to memory that is not its own, no use of values that were never
/// set, and no leak but of what is kept on purpose, which the suppressions name.
class TestMemcheck : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
#ifdef KX_NO_VALGRIND
        QSKIP("Valgrind does not run on macOS; the sanitizers of other builds do the same, and do not run under it");
#endif
        if (QStandardPaths::findExecutable(QStringLiteral("valgrind")).isEmpty())
            QSKIP("needs the program valgrind");
    }

    void findsNothingInAWholeRun()
    {
        // In the order of the groups: a, b, c, f and the crash dump none.
        const ScriptedServer server(servicePort(),
                                    {Reply::json(), Reply::json("{\"Code\":5}"), Reply::http(500, "no"),
                                     Reply::resetAfterBody().untilAnotherRequest(), Reply::json("no JSON")});
        QVERIFY(server.isListening());
        const Sandbox sandbox(QStringLiteral(KX_TOOL_MEMCHECK));
        QVERIFY(addUser(sandbox));
        QVERIFY(sandbox.writeIni([](QSettings &ini) {
            ini.setValue(QStringLiteral("room/7"), QStringLiteral("lobby"));
            ini.setValue(QStringLiteral("a/room"), QVariantMap{{QStringLiteral("9"), QStringLiteral("talk")}});
        }));
        QVERIFY(!addLog(sandbox, QStringLiteral("a"), QByteArray(300000, 'a')).isEmpty());
        QVERIFY(!addLog(sandbox, QStringLiteral("b"), "refused, deleted", 1).isEmpty());
        QVERIFY(!addLog(sandbox, QStringLiteral("c"), "an error of the service").isEmpty());
        QVERIFY(addGroup(sandbox, QStringLiteral("d"), QStringLiteral("/nowhere/missing.log")));
        QVERIFY(!addLog(sandbox, QStringLiteral("e"), "").isEmpty());
        QVERIFY(!addLog(sandbox, QStringLiteral("f"), "lost on the way").isEmpty());
        QVERIFY(!addLog(sandbox, QStringLiteral("g"), "answered without JSON").isEmpty());
        QVERIFY(!addLog(sandbox, QStringLiteral("h"), "accepted, deleted", 1).isEmpty());
        const QString dump = sandbox.addFile(QStringLiteral("crash.dmp"), "dump");

        check(sandbox, {dump}, 7);
        QCOMPARE(arrivedNames(server).size(), 7);
        QCOMPARE(sandbox.groups(),
                 (QStringList{QStringLiteral("b"), QStringLiteral("c"), QStringLiteral("f"), QStringLiteral("g"),
                              QStringLiteral("room"), QStringLiteral("system")}));
    }

    void findsNothingInARunWithoutAService()
    {
        const Sandbox sandbox(QStringLiteral(KX_TOOL_MEMCHECK));
        QVERIFY(addUser(sandbox));
        QVERIFY(!addLog(sandbox, QStringLiteral("a"), "text").isEmpty());
        check(sandbox, {}, 2);
    }

    void findsNothingInARunThatEndsAtOnce()
    {
        const Sandbox sandbox(QStringLiteral(KX_TOOL_MEMCHECK));
        QVERIFY(addGroup(sandbox, QStringLiteral("a"), QStringLiteral("/nowhere/a.log")));
        check(sandbox, {}, 0);
    }

private:
    /// \a forms is the number of uploads, whose forms are all that may be left. Some may seem to be pointed at still.
    static void check(const Sandbox &sandbox, const QStringList &arguments, int forms)
    {
        const QString report = sandbox.root() + QStringLiteral("/memcheck.txt");
        const ToolResult result = sandbox.runTool(arguments, kTimeoutMs, underValgrind(report));
        const QByteArray found = readFile(report);
        QVERIFY2(result.started && !result.crashed && !result.timedOut, result.describe());
        QVERIFY2(found.contains("ERROR SUMMARY: 0 errors"), reportOf(found).constData());
        QCOMPARE(result.exitCode, 0);
        const int kept = keptForms(found);
        QVERIFY2(kept <= forms && (kept > 0) == (forms > 0), reportOf(found).constData());
    }
};

QTEST_GUILESS_MAIN(TestMemcheck)
#include "tst_memcheck.moc"
