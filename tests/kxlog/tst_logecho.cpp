#include "scene.h"
#include "withouttimes.h"

#include <QDateTime>
#include <QTest>

/// What whole processes show of the order and the form of their records.
class TestLogEcho : public QObject
{
    Q_OBJECT

private slots:
    void echoesBeforeItWrites();
    void echoesInTheCodecOfTheLocale();
    void flushesTheEcho();
    void makesTheObjectForTheFirstMessage();
    void stampsLocalTime();
};

void TestLogEcho::echoesBeforeItWrites()
{
    const Scene scene(QStringLiteral("echoIntoTheLog"));
    QVERIFY2(scene.result().isSuccess(), scene.result().describe());
    const QByteArray head = "[time][Debug][f][1][g]";
    const QByteArray next = head + "next\r\n\n";
    // The echo ends where the text has a zero byte, which is "0" here.
    QCOMPARE(withoutTimes(scene.text().replace('\0', '0')),
             "echo\necho0file\n" + next + next + head + "echo\n" + head + "echo0file\r\n\n");
}

void TestLogEcho::echoesInTheCodecOfTheLocale()
{
    const Scene scene(QStringLiteral("latin1"));
    QVERIFY2(scene.result().isSuccess(), scene.result().describe());
    const QByteArray echo = scene.result().standardError;
    QVERIFY2(echo.contains("[g]gr\xF6\xDF"
                           "e\r\n\n"),
             echo);
    QVERIFY2(echo.endsWith("[g]plain\r\n\n"), echo);
    QVERIFY2(echo.endsWith(scene.text()), echo);
}

void TestLogEcho::flushesTheEcho()
{
    const Scene scene(QStringLiteral("bufferedStandardError"));
    QVERIFY2(scene.result().isSuccess(), scene.result().describe());
    QVERIFY2(scene.result().standardError.endsWith("[g]plain\r\n\n"), scene.result().describe());
}

void TestLogEcho::makesTheObjectForTheFirstMessage()
{
    const Scene scene(QStringLiteral("firstMessage"));
    QVERIFY2(scene.result().isSuccess(), scene.result().describe());
}

void TestLogEcho::stampsLocalTime()
{
    // A place where it is always tomorrow.
    const auto now = [] { return QDateTime::currentDateTimeUtc().addDays(1); };
    const QDateTime from = now();
    const Scene scene(QStringLiteral("forking"), 0, {{QStringLiteral("TZ"), QStringLiteral("KXT-24")}});
    const QDateTime to = now();
    QVERIFY2(scene.result().isSuccess(), scene.result().describe());

    QStringList logs;
    QStringList markers;
    QList<QByteArray> records;
    for (QDateTime time = from; time <= to.addSecs(1); time = time.addSecs(1)) {
        logs.append(time.toString(QStringLiteral("'upload_'yyyy_MM_dd_hh_mm_ss'.log'")));
        markers.append(time.toString(QStringLiteral("yyyy_MM_dd'.dat'")));
        records.append(time.toString(QStringLiteral("[yyyy-MM-dd hh:mm:ss]")).toLatin1());
    }
    QCOMPARE(scene.logs().size(), 1);
    QVERIFY2(logs.contains(scene.logs().first()), qPrintable(scene.logs().first()));
    QCOMPARE(QDir(scene.folder()).entryList({QStringLiteral("*.dat")}).size(), 1);
    QVERIFY(markers.contains(QDir(scene.folder()).entryList({QStringLiteral("*.dat")}).first()));
    QVERIFY2(records.contains(scene.text().left(21)), scene.text());
}

QTEST_GUILESS_MAIN(TestLogEcho)
#include "tst_logecho.moc"
