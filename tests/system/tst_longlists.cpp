#include "support/tool/toolsetup.h"
#include "support/wire/arrivals.h"
#include "support/wire/endpoints.h"

#include <QDir>
#include <QTest>

namespace {

/// upload.ini with a user and \a count groups with the line \a key; short, since all of it is written \a count times.
QByteArray longIni(int count, const QByteArray &key)
{
    QByteArray ini = "[system]\nnickname=ann\n";
    for (int i = 0; i < count; ++i)
        ini += '[' + QByteArray::number(i) + "]\n" + key + '\n';
    return ini;
}

} // namespace

/// Lists of thousands of groups that are all skipped.
class TestLongLists : public QObject
{
    Q_OBJECT

private slots:
    void skipsThemOnASmallStack_data()
    {
        QTest::addColumn<QByteArray>("key");
        QTest::addColumn<int>("failedOpens");
        QTest::newRow("missing files") << QByteArray("sdk=0") << 0;
        QTest::newRow("folders") << QByteArray("path=/") << KX_LONG_LIST;
    }
    void skipsThemOnASmallStack()
    {
        QFETCH(QByteArray, key);
        QFETCH(int, failedOpens);
        const ScriptedServer server(servicePort());
        QVERIFY(server.isListening());
        const Sandbox sandbox(Sandbox::builtTool(), fastFolder());
        QVERIFY(sandbox.isValid());
        QVERIFY(sandbox.writeRawIni(longIni(KX_LONG_LIST, key)));

        const ToolResult result =
            sandbox.runTool({}, kMaxMs, byShell(QStringLiteral("ulimit -s 256 && exec \"$0\" \"$@\"")));
        QVERIFY2(result.isSuccess(), result.describe().left(1000));
        QCOMPARE(sentFileNames(server), QStringList{QStringLiteral("own log")});
        QCOMPARE(sandbox.groups(), QStringList{QStringLiteral("system")});
        QCOMPARE(result.standardError.count("open file failed"), failedOpens);
    }

    void leavesTheWatchdogItsTurn()
    {
#ifndef KX_FAST_CLOCK_LIBRARY
        QSKIP("the clock can only be replaced on Linux");
#else
        const ScriptedServer server(servicePort());
        QVERIFY(server.isListening());
        const Sandbox sandbox(Sandbox::builtTool(), fastFolder());
        QVERIFY(sandbox.writeRawIni(longIni(2 * KX_LONG_LIST, "sdk=0")));

        // Five minutes are over after two seconds, long before the end of the list.
        ToolOptions options = preloading(QStringLiteral(KX_FAST_CLOCK_LIBRARY));
        options.environment.insert(QStringLiteral("KX_CLOCK_FACTOR"), QStringLiteral("150"));
        const ToolResult result = sandbox.runTool({}, kMaxMs, options);
        QVERIFY2(result.isSuccess(), result.describe().left(1000));
        QCOMPARE(server.connections(), 0);
        const int left = sandbox.groups().size() - 1;
        QVERIFY2(left > 0 && left < 2 * KX_LONG_LIST, qPrintable(QString::number(left)));
#endif
    }

private:
    static constexpr int kMaxMs = 200000;
};

QTEST_GUILESS_MAIN(TestLongLists)
#include "tst_longlists.moc"
