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
    const Scene scene(QStringLiteral("stamps"), 0, {{QStringLiteral("TZ"), QStringLiteral("KXT-24")}});
    const QDateTime to = now();
    QVERIFY2(scene.result().isSuccess(), scene.result().describe());

    QStringList logs;
    QStringList markers;
    QStringList sdkMarkers;
    QList<QByteArray> records;
    for (QDateTime time = from; time <= to.addSecs(1); time = time.addSecs(1)) {
        logs.append(time.toString(QStringLiteral("'upload_'yyyy_MM_dd_hh_mm_ss'.log'")));
        markers.append(time.toString(QStringLiteral("yyyy_MM_dd'.dat'")));
        sdkMarkers.append(time.toString(QStringLiteral("yyyyMMdd'.dat'")));
        records.append(time.toString(QStringLiteral("[yyyy-MM-dd hh:mm:ss]")).toLatin1());
    }
    const QString log = scene.logs().value(0);
    const QString marker = QDir(scene.folder()).entryList({QStringLiteral("*.dat")}).value(0);
    const QString sdkMarker = QDir(scene.folder() + QStringLiteral("/sdk")).entryList(QDir::Files).value(0);
    QVERIFY2(logs.contains(log), qPrintable(log));
    QVERIFY2(markers.contains(marker), qPrintable(marker));
    QVERIFY2(sdkMarkers.contains(sdkMarker), qPrintable(sdkMarker));
    QVERIFY2(records.contains(scene.text().left(21)), scene.text());
}

QTEST_GUILESS_MAIN(TestLogEcho)
#include "tst_logecho.moc"
