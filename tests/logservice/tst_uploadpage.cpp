#include "http/timestamp.h"
#include "page/uploadpage.h"
#include "page/uploadrow.h"

#include <QtTest/QtTest>

#include <cstdlib>

namespace {

const char kMarkup[] = "<script>alert(\"1\")</script>&'\"";

IndexedUpload upload(const char *id, const char *fields)
{
    IndexedUpload made;
    made.id = *parseUploadId(id);
    setFields(made, nlohmann::json::parse(fields));
    return made;
}

/// The row without its tags, and a blank where one of them was.
QString rowText(const IndexedUpload &shown)
{
    static const QRegularExpression tag(QStringLiteral("<[^>]*>"));
    return QString::fromStdString(uploadRow(shown)).replace(tag, QStringLiteral(" ")).simplified();
}

QString html(const UploadPage &page)
{
    return QString::fromStdString(uploadPageHtml(page));
}

UploadPage pageWithOneUpload()
{
    UploadPage page;
    page.kinds = {"crash", "logfile"};
    page.matches.uploads.push_back(upload("000003-logfile", "{}"));
    page.storedCount = 3;
    return page;
}

} // namespace

class TestUploadPage : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void showsTheSenderOfEveryKind_data();
    void showsTheSenderOfEveryKind();
    void showsTimeFileAndSize();
    void linksToFileDownloadAndFields();
    void linksToNoFileThatIsNotThere();
    void showsNoMoreRoomsThanFit();
    void escapesEverything();
    void keepsTheFilters();
    void linksToOlderUploadsWithTheFilters();
    void saysHowManyAreShown();
    void saysHowToSendSomething();
    void saysThatNothingMatches();
    void saysThatNothingIsStored();
    void isOneWellFormedPage();
    void writesSizes_data();
    void writesSizes();
    void writesLocalTimes_data();
    void writesLocalTimes();
};

void TestUploadPage::initTestCase()
{
    ::setenv("TZ", "XYZ-2", 1);
    ::tzset();
}

void TestUploadPage::showsTheSenderOfEveryKind_data()
{
    QTest::addColumn<QByteArray>("id");
    QTest::addColumn<QByteArray>("fields");
    QTest::addColumn<QString>("text");
    const auto add = [](const char *id, const char *fields, const char *text) {
        QTest::newRow(fields) << QByteArray(id) << QByteArray(fields) << QString::fromUtf8(text);
    };
    add("1-logfile",
        R"({"room":"nickname-ann.loginname-a1.userid-7.roomid-12.roomname-Blue,)"
        R"(nickname-ann.loginname-a1.userid-7.roomid-9.roomname-Red","namespace":"demo"})",
        "1 - logfile ann login a1 id 7 Blue id 12 Red id 9 fields -");
    add("2-producer", R"({"room":"nickname-.loginname-.userid-7."})", "2 - producer id 7 - fields -");
    add("3-uploadrequest", R"({"room":"free text"})", "3 - uploadrequest free text - fields -");
    add("4-crash",
        R"({"base":{"nickname":"ann","user_id":"42"},"info":{"info":[{"room_sdk_id":"7","room_name":"lobby"}]}})",
        "4 - crash ann id 42 lobby id 7 fields -");
    add("5-crash", R"({"base":[],"info":{"info":[1,null,{"room_name":{}}]}})", "5 - crash - id id id fields -");
    add("6-crash", R"({"base":"x","info":{"info":"y"}})", "6 - crash - - fields -");
    add("7-error", R"({"username":"ann","user_id":42,"room_sdk_id":"7"})", "7 - error ann id 42 id 7 fields -");
    add("8-report", R"({"UserSid":"42","RoomId":"7"})", "8 - report id 42 id 7 fields -");
    add("9-report", R"({"UserSid":"","RoomId":""})", "9 - report - - fields -");
    add("10-logfile", R"({"room":["nickname-ann."]})", "10 - logfile - - fields -");
    add("11-logfile", "{}", "11 - logfile - - fields -");
    add("12-later", R"({"room":"nickname-ann."})", "12 - later ann - fields -");
}

void TestUploadPage::showsTheSenderOfEveryKind()
{
    QFETCH(QByteArray, id);
    QFETCH(QByteArray, fields);
    QTEST(rowText(upload(id.constData(), fields.constData())), "text");
}

void TestUploadPage::showsTimeFileAndSize()
{
    auto shown = upload("000001-logfile", "{}");
    shown.time = "2024-05-01T09:30:00Z";
    shown.fileName = "a b.log";
    shown.bytes = 3560017;
    QCOMPARE(rowText(shown), QStringLiteral("1 2024-05-01 11:30:00 logfile - - a b.log download fields 3.5 MB"));
    const QString row = QString::fromStdString(uploadRow(shown));
    QVERIFY(row.contains(QStringLiteral("<time datetime=\"2024-05-01T09:30:00Z\">")));
    QVERIFY(row.contains(QStringLiteral("title=\"3560017 bytes\"")));

    shown.time = "yesterday";
    QVERIFY(rowText(shown).startsWith(QStringLiteral("1 yesterday logfile")));
}

void TestUploadPage::linksToFileDownloadAndFields()
{
    auto shown = upload("000001-report", "{}");
    shown.bytes = 1;
    shown.contentName = "report.json";
    const QString row = QString::fromStdString(uploadRow(shown));
    for (const char *target : {"file", "file?download", "fields"})
        QVERIFY2(row.contains(QStringLiteral("href=\"/uploads/000001-report/%1\"").arg(QLatin1String(target))), target);
    QVERIFY(row.contains(QStringLiteral("report.json")));
}

void TestUploadPage::linksToNoFileThatIsNotThere()
{
    auto shown = upload("000001-logfile", "{}");
    shown.fileName = "a.log";
    QVERIFY(!QString::fromStdString(uploadRow(shown)).contains(QStringLiteral("/file")));
}

void TestUploadPage::showsNoMoreRoomsThanFit()
{
    auto shown = upload("1-logfile", "{}");
    std::string rooms;
    for (int i = 1; i <= 8; ++i)
        rooms += (i > 1 ? "," : "") + std::string("userid-1.roomid-") + std::to_string(i) + ".roomname-r";
    setFields(shown, {{"room", rooms}});
    QCOMPARE(rowText(shown), QStringLiteral("1 - logfile id 1 r id 1 r id 2 r id 3 r id 4 r id 5 and 3 more fields -"));
}

/// Markup in every value that comes from outside.
void TestUploadPage::escapesEverything()
{
    UploadPage page;
    page.kinds = {"logfile", kMarkup};
    page.query.kind = page.query.text = kMarkup;
    page.query.before = parseUploadId("000009-logfile");
    page.origin = kMarkup;
    const auto identity = "nickname-" + std::string(kMarkup) + ".loginname-" + kMarkup + ".userid-" + kMarkup + ".";
    for (const auto &room : {identity + "roomid-" + kMarkup + ".roomname-" + kMarkup, std::string(kMarkup)}) {
        auto shown = upload("000001-logfile", "{}");
        setFields(shown, {{"room", room}});
        shown.time = kMarkup;
        shown.fileName = kMarkup;
        shown.bytes = 1;
        shown.contentName = "report.json";
        page.matches.uploads.push_back(shown);
    }
    page.storedCount = 2;
    page.matches.older = parseUploadId("000001-logfile");
    const QString text = html(page);
    QVERIFY(!text.contains(QStringLiteral("<script")));
    QVERIFY(!text.contains(QStringLiteral("alert(\"")));
    // Twice in the kinds, once in the filter, seven and three times in the rows.
    QCOMPARE(text.count(QStringLiteral("&lt;script&gt;alert(&quot;1&quot;)&lt;/script&gt;&amp;&#39;&quot;")), 13);

    page.matches = {};
    QVERIFY(!html(page).contains(QStringLiteral("<script")));
}

void TestUploadPage::keepsTheFilters()
{
    UploadPage page = pageWithOneUpload();
    page.query.kind = "logfile";
    page.query.text = "ann";
    const QString text = html(page);
    QVERIFY(text.contains(QStringLiteral("<form method=\"get\" action=\"/\"")));
    QVERIFY(text.contains(QStringLiteral("<option value=\"logfile\" selected>")));
    QCOMPARE(text.count(QStringLiteral(" selected")), 1);
    QVERIFY(text.contains(QStringLiteral("name=\"text\" value=\"ann\"")));
}

void TestUploadPage::linksToOlderUploadsWithTheFilters()
{
    UploadPage page = pageWithOneUpload();
    QVERIFY(!html(page).contains(QStringLiteral("Older")));
    page.query.kind = "logfile";
    page.query.text = "a&b=\xc3\xab <";
    page.matches.older = parseUploadId("000003-logfile");
    QVERIFY(html(page).contains(
        QStringLiteral("href=\"/?kind=logfile&amp;text=a%26b%3D%C3%AB%20%3C&amp;before=000003-logfile\"")));
}

void TestUploadPage::saysHowManyAreShown()
{
    UploadPage page = pageWithOneUpload();
    QVERIFY(html(page).contains(QStringLiteral("1 shown of 3 uploads, newest first.")));
    page.query.text = "x";
    page.matches.total = 2;
    QVERIFY(html(page).contains(QStringLiteral("1 shown of 2 matches among 3 uploads, newest first.")));
}

void TestUploadPage::saysHowToSendSomething()
{
    UploadPage page;
    page.origin = "http://127.0.0.1:8701";
    const QString text = html(page);
    QVERIFY(text.contains(QStringLiteral("Nothing has arrived yet.")));
    QVERIFY(text.contains(QStringLiteral("curl -F room=nickname-ann. -F namespace=demo -F file=@client.log "
                                         "http://127.0.0.1:8701/logsys/client/v1/logfile/upload")));
    QVERIFY(!text.contains(QStringLiteral("<table")));
    QVERIFY(!text.contains(QStringLiteral("<form")));
}

void TestUploadPage::saysThatNothingMatches()
{
    UploadPage page;
    page.storedCount = 3;
    page.query.text = "x";
    QVERIFY(html(page).contains(QStringLiteral("No upload matches.")));
    QVERIFY(html(page).contains(QStringLiteral("<form")));
}

void TestUploadPage::saysThatNothingIsStored()
{
    UploadPage page;
    page.stores = false;
    QVERIFY(html(page).contains(QStringLiteral("--discard")));
}

void TestUploadPage::isOneWellFormedPage()
{
    UploadPage page = pageWithOneUpload();
    setFields(page.matches.uploads.front(), {{"room", "nickname-ann.roomid-1.roomname-x"}});
    page.matches.uploads.front().bytes = 1;
    page.matches.older = parseUploadId("000003-logfile");
    const QString text = html(page);
    QVERIFY(text.startsWith(QStringLiteral("<!DOCTYPE html>\n<html lang=\"en\">")));
    for (const char *part : {"<meta charset=\"utf-8\">", "name=\"viewport\"", "<title>Uploads",
                             "<th scope=\"col\">User", "<th scope=\"row\">3</th>"})
        QVERIFY2(text.contains(QLatin1String(part)), part);
    QVERIFY(!text.contains(QStringLiteral("<script")));
    for (const char *name : {"html",   "head",   "body", "main",  "title", "h1",    "form", "label", "select",
                             "option", "button", "p",    "table", "thead", "tbody", "tr",   "th",    "td",
                             "div",    "ul",     "li",   "a",     "b",     "bdi",   "span", "nav"}) {
        const QRegularExpression opening(QStringLiteral("<%1[ >]").arg(QLatin1String(name)));
        const int openings = text.count(opening);
        QVERIFY2(openings > 0, name);
        QVERIFY2(openings == text.count(QStringLiteral("</%1>").arg(QLatin1String(name))), name);
    }
}

void TestUploadPage::writesSizes_data()
{
    QTest::addColumn<qulonglong>("bytes");
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("nothing") << 0ULL << QByteArray("0 B");
    QTest::newRow("bytes") << 999ULL << QByteArray("999 B");
    QTest::newRow("kilobyte") << 1000ULL << QByteArray("1.0 kB");
    QTest::newRow("tenths") << 1999ULL << QByteArray("1.9 kB");
    QTest::newRow("no tenths") << 10999ULL << QByteArray("10 kB");
    QTest::newRow("nearly a megabyte") << 999999ULL << QByteArray("999 kB");
    QTest::newRow("megabyte") << 1000000ULL << QByteArray("1.0 MB");
    QTest::newRow("gigabytes") << 2500000000ULL << QByteArray("2.5 GB");
    QTest::newRow("all") << std::numeric_limits<qulonglong>::max() << QByteArray("18 EB");
}

void TestUploadPage::writesSizes()
{
    QFETCH(qulonglong, bytes);
    QFETCH(QByteArray, text);
    QCOMPARE(QByteArray::fromStdString(sizeText(bytes)), text);
}

void TestUploadPage::writesLocalTimes_data()
{
    QTest::addColumn<QByteArray>("utc");
    QTest::addColumn<QByteArray>("local");
    QTest::newRow("usual") << QByteArray("2024-12-31T23:30:00Z") << QByteArray("2025-01-01 01:30:00");
    QTest::newRow("empty") << QByteArray() << QByteArray();
    QTest::newRow("text") << QByteArray("now") << QByteArray();
    QTest::newRow("text behind") << QByteArray("2024-12-31T23:30:00Z<b>") << QByteArray();
    QTest::newRow("NUL behind") << QByteArray("2024-12-31T23:30:00Z\0", 21) << QByteArray();
    QTest::newRow("no such day") << QByteArray("2023-02-30T00:00:00Z") << QByteArray();
    QTest::newRow("one digit") << QByteArray("2023-2-3T0:00:00Z") << QByteArray();
}

void TestUploadPage::writesLocalTimes()
{
    QFETCH(QByteArray, utc);
    QFETCH(QByteArray, local);
    QCOMPARE(QByteArray::fromStdString(localTimeOf(utc.toStdString())), local);
}

QTEST_GUILESS_MAIN(TestUploadPage)
#include "tst_uploadpage.moc"
