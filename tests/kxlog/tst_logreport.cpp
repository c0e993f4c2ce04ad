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
    row("empty text", "", "@@", count, 0, "");
    row("half a marker", "a@5@b", "@@", count, 0, "a@5@b");

    row("field alone", "$#$120$#$", "$#$", up, 120, "upload speed:120KB/s");
    row("field inside a text", "a $#$120$#$ b", "$#$", up, 120, "a upload speed:120KB/s b");
    row("field without a format", "a $$2$$ b", "$$", "", 2, "a  b");
    row("empty field", "a @@@@ b", "@@", count, 0, "a count:0 b");
    row("zero", "@@0@@", "@@", count, 0, "count:0");
    row("negative", "@@-7@@", "@@", count, -7, "count:-7");
    row("plus sign", "@@+7@@", "@@", count, 7, "count:7");
    row("leading zeros are decimal", "@@010@@", "@@", count, 10, "count:10");
    row("spaces around the number", "@@ 5\t@@", "@@", count, 5, "count:5");
    row("space within the number", "@@1 5@@", "@@", count, 0, "count:0");
    row("no number", "@@five@@", "@@", count, 0, "count:0");
    row("number and more", "@@5x@@", "@@", count, 0, "count:0");
    row("decimal point", "@@5.0@@", "@@", count, 0, "count:0");
    row("hexadecimal", "@@0x10@@", "@@", count, 0, "count:0");
    row("largest int", "@@2147483647@@", "@@", count, 2147483647, "count:2147483647");
    row("one more than int", "@@2147483648@@", "@@", count, 0, "count:0");
    row("smallest int", "@@-2147483648@@", "@@", count, -2147483647 - 1, "count:-2147483648");
    row("one less than int", "@@-2147483649@@", "@@", count, 0, "count:0");
    row("text beyond ASCII around", "über $#$8$#$ 速度", "$#$", up, 8, "über upload speed:8KB/s 速度");
    row("place marker in the text stays", "%1 @@3@@ %2", "@@", count, 3, "%1 count:3 %2");

    row("one marker, the rest converts", "@@5", "@@", count, 5, "count:55");
    row("one marker, text behind", "@@5 times", "@@", count, 0, "count:05 times");
    row("one marker at the end", "a@@", "@@", count, 0, "acount:0");
    row("one marker, text in front", "a @@5", "@@", count, 5, "a count:55");
    row("one marker without a format", "a$$2", "$$", "", 2, "a2");

    row("three markers", "a@@1@@2@@b", "@@", count, 1, "acount:1b");
    row("four markers", "a@@1@@ and @@2@@b", "@@", count, 1, "acount:1b");
    row("five markers, the first field empty", "a@@@@1@@2@@3@@b", "@@", count, 0, "acount:0b");

    // The last occurrence may begin inside the one before it.
    row("two that overlap", "a$$$b", "$$", "", 0, "ab");
    row("two overlap after a field", "$$1$$$", "$$", "", 1, "");
    row("overlap in front of a field", "$$$1$$", "$$", "", 0, "");
    row("overlap that could be part of the value", "111511", "11", count, 15, "count:15");
    row("marker of other characters inside", "$#$#$", "$#$", up, 0, "upload speed:0KB/s");
    row("the other marker's overlap", "#$#$#", "#$#", "download speed:%1KB/s", 0, "download speed:0KB/s");
    row("overlap at the end of a field", "#$#64#$#$#", "#$#", "download speed:%1KB/s", 64, "download speed:64KB/s");
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

    QTest::newRow("tag alone") << QStringLiteral("kx_log") << true;
    QTest::newRow("at the end") << QStringLiteral("text kx_log") << true;
    QTest::newRow("inside a word") << QStringLiteral("akx_logb") << true;
    QTest::newRow("fields without a tag") << QStringLiteral("$#$1$#$ #$#2#$# $$1$$ @@2@@") << false;
    QTest::newRow("other case") << QStringLiteral("KX_LOG kx_Log") << false;
    QTest::newRow("broken tag") << QStringLiteral("kx_lo g") << false;
    QTest::newRow("nothing") << QString() << false;
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
    row("tag alone", "kx_log", 0, 0, 0, 0, "");
    row("no fields", "kx_log connection lost", 0, 0, 0, 0, " connection lost");
    row("every occurrence of the tag goes", "kx_log a kx_logkx_log b", 0, 0, 0, 0, " a  b");
    row("a tag left by a removed one stays", "kx_kx_loglog a", 0, 0, 0, 0, "kx_log a");
    row("all fields", "kx_log net $#$120$#$ #$#64#$# $$1$$ @@2@@ end", 120, 64, 1, 2,
        " net upload speed:120KB/s download speed:64KB/s  count:2 end");
    row("fields that touch run into each other", "@@2@@$$1$$#$#64#$#$#$120$#$kx_log", 0, 0, 0, 2,
        "count:21$upload speed:0KB/s");
    row("fields in another order", "@@2@@ $$1$$ #$#64#$# , $#$120$#$ kx_log", 120, 64, 1, 2,
        "count:2  download speed:64KB/s , upload speed:120KB/s ");
    row("tag inside a field", "@@1kx_log2@@", 0, 0, 0, 12, "count:12");
    row("only the client type", "kx_log$$2$$", 0, 0, 2, 0, "");
    row("one marker whose value is the rest", "kx_log@@5", 0, 0, 0, 5, "count:55");
    row("one marker with text behind", "kx_log@@5 times", 0, 0, 0, 0, "count:05 times");
    // "##" around: the upload markers are looked for first, and take the middle of what reads as download markers.
    row("upload markers first", "kx_log#$#$120$#$#", 120, 0, 0, 0, "#upload speed:120KB/s#");
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
        for (const int count : {-1, 0, 1, 2, 1000}) {
            QTest::newRow(qPrintable(QStringLiteral("client %1, count %2").arg(client.type).arg(count)))
                << client.type << count << QString::fromLatin1(client.description)
                << (count <= 0 ? QStringLiteral("kx_error") : QString::fromLatin1(client.reconnectTitle));
        }
    }
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
    QTest::newRow("n left behind a removed pair") << QStringLiteral("kx_log a\\\\nnb") << QStringLiteral(" anb");
    QTest::newRow("backslash at the end") << QStringLiteral("kx_log a\\") << QStringLiteral(" a");
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

    QTest::newRow("no fields") << QStringLiteral("kx_log lost")
                               << QStringLiteral("HEAD[f][1][g]kx_client   kx_error   lost\r\n");
    QTest::newRow("tag alone") << QStringLiteral("kx_log") << QStringLiteral("HEAD[f][1][g]kx_client   kx_error  \r\n");
    QTest::newRow("signal client reconnected")
        << QStringLiteral("kx_log$$1$$@@2@@")
        << QStringLiteral("HEAD[f][1][g]signal_client   signal_reconnect  count:2\r\n");
    QTest::newRow("media client without a count")
        << QStringLiteral("kx_log$$2$$") << QStringLiteral("HEAD[f][1][g]media_client   kx_error  \r\n");
    QTest::newRow("no description keeps its separator")
        << QStringLiteral("kx_log$$257$$@@1@@x") << QStringLiteral("HEAD[f][1][g]   signal_reconnect  count:1x\r\n");
    QTest::newRow("no title keeps its separator")
        << QStringLiteral("kx_log$$3$$@@1@@x") << QStringLiteral("HEAD[f][1][g]kx_client     count:1x\r\n");
    QTest::newRow("neither") << QStringLiteral("kx_log$$4$$@@1@@x") << QStringLiteral("HEAD[f][1][g]     count:1x\r\n");
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
