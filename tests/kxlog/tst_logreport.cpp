#include "kxlog/kxlog.h"
#include "kxlog/logreport.h"

#include <QTest>

using logreport::Message;

class TestLogReport : public QObject
{
    Q_OBJECT

private slots:
    void takesMarkedInt_data();
    void takesMarkedInt();
    void logObjectTakesMarkedInt();
    void knowsReportMessages_data();
    void knowsReportMessages();
    void readsTheFields_data();
    void readsTheFields();
    void describesClientAndTitle_data();
    void describesClientAndTitle();
    void undoesEscapes_data();
    void undoesEscapes();
    void composesRecords_data();
    void composesRecords();
    void mapsLevels_data();
    void mapsLevels();
};

void TestLogReport::takesMarkedInt_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("marker");
    QTest::addColumn<QString>("format");
    QTest::addColumn<int>("value");
    QTest::addColumn<QString>("rewritten");

    const auto row = [](const char *name, const char *text, const char *marker, const char *format, int value,
                        const char *rewritten) {
        QTest::newRow(name) << QString::fromUtf8(text) << QString::fromLatin1(marker) << QString::fromLatin1(format)
                            << value << QString::fromUtf8(rewritten);
    };
    const char *const up = "upload speed:%1KB/s";
    const char *const count = "count:%1";

    row("no marker", "a 120 b", "$#$", up, 0, "a 120 b");

    row("field inside a text", "a $#$120$#$ b", "$#$", up, 120, "a upload speed:120KB/s b");
    row("field without a format", "a $$2$$ b", "$$", "", 2, "a  b");
    row("empty field", "a @@@@ b", "@@", count, 0, "a count:0 b");
    row("negative", "@@-7@@", "@@", count, -7, "count:-7");
    row("sign and leading zeros are decimal", "@@+010@@", "@@", count, 10, "count:10");
    row("spaces around the number", "@@ 5\t@@", "@@", count, 5, "count:5");
    row("number and more", "@@5x@@", "@@", count, 0, "count:0");
    row("decimal point", "@@5.0@@", "@@", count, 0, "count:0");
    row("largest int", "@@2147483647@@", "@@", count, 2147483647, "count:2147483647");
    row("one more than int", "@@2147483648@@", "@@", count, 0, "count:0");
    row("place marker in the text stays", "%1 @@3@@ %2", "@@", count, 3, "%1 count:3 %2");

    row("one marker, the rest converts", "@@5", "@@", count, 5, "count:55");
    row("one marker, text behind", "@@5 times", "@@", count, 0, "count:05 times");

    row("three markers", "a@@1@@2@@b", "@@", count, 1, "acount:1b");

    // The last occurrence may begin inside the one before it.
    row("two overlap after a field", "$$1$$$", "$$", "", 1, "");
    row("overlap in front of a field", "$$$1$$", "$$", "", 0, "");
    row("overlap that could be part of the value", "111511", "11", count, 15, "count:15");
}

void TestLogReport::takesMarkedInt()
{
    QFETCH(QString, text);
    QFETCH(QString, marker);
    QFETCH(QString, format);
    QFETCH(int, value);
    QFETCH(QString, rewritten);
    QCOMPARE(logreport::takeMarkedInt(text, marker, format), value);
    QCOMPARE(text, rewritten);
}

void TestLogReport::logObjectTakesMarkedInt()
{
    KxLog log;
    QString text = QStringLiteral("a @@4@@ b");
    QCOMPARE(log.getStrInt(text, QStringLiteral("@@"), QStringLiteral("count:%1")), 4);
    QCOMPARE(text, QStringLiteral("a count:4 b"));
}

void TestLogReport::knowsReportMessages_data()
{
    QTest::addColumn<QString>("message");
    QTest::addColumn<bool>("isReport");

    QTest::newRow("inside a word") << QStringLiteral("akx_logb") << true;
    QTest::newRow("fields without a tag") << QStringLiteral("$#$1$#$ #$#2#$# $$1$$ @@2@@") << false;
    QTest::newRow("other case") << QStringLiteral("KX_LOG kx_Log") << false;
}

void TestLogReport::knowsReportMessages()
{
    QFETCH(QString, message);
    QFETCH(bool, isReport);
    QCOMPARE(logreport::isReportMessage(message), isReport);
}

void TestLogReport::readsTheFields_data()
{
    QTest::addColumn<QString>("message");
    QTest::addColumn<int>("up");
    QTest::addColumn<int>("down");
    QTest::addColumn<int>("client");
    QTest::addColumn<int>("count");
    QTest::addColumn<QString>("text");

    const auto row = [](const char *name, const char *message, int up, int down, int client, int count,
                        const char *text) {
        QTest::newRow(name) << QString::fromLatin1(message) << up << down << client << count
                            << QString::fromLatin1(text);
    };
    row("every occurrence of the tag goes", "kx_log a kx_logkx_log KX_LOG", 0, 0, 0, 0, " a  KX_LOG");
    row("a tag left by a removed one stays", "kx_kx_loglog a", 0, 0, 0, 0, "kx_log a");
    row("all fields", "kx_log net $#$120$#$ #$#64#$# $$1$$ @@2@@ end", 120, 64, 1, 2,
        " net upload speed:120KB/s download speed:64KB/s  count:2 end");
    row("fields that touch run into each other", "@@2@@$$1$$#$#64#$#$#$120$#$kx_log", 0, 0, 0, 2,
        "count:21$upload speed:0KB/s");
    // "##" around: the upload markers are looked for first, and take the middle of what reads as download markers.
    row("upload markers first", "kx_log#$#$120$#$#", 120, 0, 0, 0, "#upload speed:120KB/s#");
    row("download speed inside a client type", "kx_log$$ #$#5#$# $$", 0, 5, 0, 0, "");
    row("marker that appears when the tag goes", "$#kx_log$120$#$", 120, 0, 0, 0, "upload speed:120KB/s");
    row("marker that appears when a field goes", "kx_log@$$1$$@2@@", 0, 0, 1, 2, "count:2");
}

void TestLogReport::readsTheFields()
{
    QFETCH(QString, message);
    QFETCH(int, up);
    QFETCH(int, down);
    QFETCH(int, client);
    QFETCH(int, count);
    QFETCH(QString, text);
    const Message report = logreport::parseMessage(message);
    QCOMPARE(report.text, text);
    QCOMPARE(report.uploadSpeed, up);
    QCOMPARE(report.downloadSpeed, down);
    QCOMPARE(report.clientType, client);
    QCOMPARE(report.reconnectCount, count);
}

void TestLogReport::describesClientAndTitle_data()
{
    QTest::addColumn<int>("client");
    QTest::addColumn<int>("count");
    QTest::addColumn<QString>("description");
    QTest::addColumn<QString>("title");

    struct Client
    {
        int type;
        const char *description;
        const char *reconnectTitle;
    };
    // The description follows the whole number, the title its low byte.
    const Client clients[] = {
        {-255, "", "signal_reconnect"},
        {-1, "", ""},
        {0, "kx_client", ""},
        {1, "signal_client", "signal_reconnect"},
        {2, "media_client", "media_reconnect"},
        {3, "kx_client", ""},
        {4, "", ""},
        {255, "", ""},
        {256, "", ""},
        {257, "", "signal_reconnect"},
        {258, "", "media_reconnect"},
    };
    for (const Client &client : clients) {
        QTest::newRow(qPrintable(QStringLiteral("client %1").arg(client.type)))
            << client.type << 1 << QString::fromLatin1(client.description)
            << QString::fromLatin1(client.reconnectTitle);
    }
    QTest::newRow("no count") << 2 << 0 << QStringLiteral("media_client") << QStringLiteral("kx_error");
    QTest::newRow("negative count") << 1 << -1 << QStringLiteral("signal_client") << QStringLiteral("kx_error");
}

void TestLogReport::describesClientAndTitle()
{
    QFETCH(int, client);
    QFETCH(int, count);
    QFETCH(QString, description);
    QFETCH(QString, title);

    const Message report = logreport::parseMessage(QStringLiteral("kx_log$$%1$$@@%2@@").arg(client).arg(count));
    QCOMPARE(report.clientType, client);
    QCOMPARE(report.reconnectCount, count);
    QCOMPARE(report.clientDescription, description);
    QCOMPARE(report.title, title);
}

void TestLogReport::undoesEscapes_data()
{
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("text");

    QTest::newRow("quotes") << QStringLiteral("kx_log \\\"a\\\"") << QStringLiteral(" \"a\"");
    QTest::newRow("line feed escape") << QStringLiteral("kx_log a\\nb") << QStringLiteral(" ab");
    QTest::newRow("other escapes keep their letter") << QStringLiteral("kx_log a\\tb\\rc") << QStringLiteral(" atbrc");
    QTest::newRow("upper-case N stays") << QStringLiteral("kx_log a\\Nb") << QStringLiteral(" aNb");
    QTest::newRow("two backslashes and n") << QStringLiteral("kx_log a\\\\nb") << QStringLiteral(" ab");
    QTest::newRow("a real line feed stays") << QStringLiteral("kx_log a\nb") << QStringLiteral(" a\nb");
    QTest::newRow("inside a field it spoils the number")
        << QStringLiteral("kx_log @@\\n5@@") << QStringLiteral(" count:0");
}

void TestLogReport::undoesEscapes()
{
    QFETCH(QString, message);
    QFETCH(QString, text);
    QCOMPARE(logreport::parseMessage(message).text, text);
}

void TestLogReport::composesRecords_data()
{
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("record");

    QTest::newRow("no description keeps its separator")
        << QStringLiteral("kx_log$$257$$@@1@@x") << QStringLiteral("HEAD[f][1][g]   signal_reconnect  count:1x\r\n");
    QTest::newRow("no title keeps its separator")
        << QStringLiteral("kx_log$$3$$@@1@@x") << QStringLiteral("HEAD[f][1][g]kx_client     count:1x\r\n");
    QTest::newRow("a place marker is text")
        << QStringLiteral("kx_log%1%2") << QStringLiteral("HEAD[f][1][g]kx_client   kx_error  %1%2\r\n");
}

void TestLogReport::composesRecords()
{
    QFETCH(QString, message);
    QFETCH(QString, record);
    QCOMPARE(
        logreport::recordText(QStringLiteral("HEAD"), QStringLiteral("[f][1][g]"), logreport::parseMessage(message)),
        record);
}

void TestLogReport::mapsLevels_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("level");

    QTest::newRow("debug") << static_cast<int>(QtDebugMsg) << 2;
    QTest::newRow("warning") << static_cast<int>(QtWarningMsg) << 4;
    QTest::newRow("critical") << static_cast<int>(QtCriticalMsg) << 5;
    QTest::newRow("fatal") << static_cast<int>(QtFatalMsg) << 0;
    QTest::newRow("info") << static_cast<int>(QtInfoMsg) << 1;
}

void TestLogReport::mapsLevels()
{
    QFETCH(int, type);
    QFETCH(int, level);
    QCOMPARE(static_cast<int>(logreport::reportLevel(static_cast<QtMsgType>(type))), level);
}

QTEST_GUILESS_MAIN(TestLogReport)
#include "tst_logreport.moc"
