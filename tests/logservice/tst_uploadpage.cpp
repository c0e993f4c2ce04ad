#include "page/uploadpage.h"
#include "page/uploadrow.h"
#include "text/timestamp.h"

#include <QtTest/QtTest>

namespace {

const char kMarkup[] = "<script>alert(\"1\")</script>&'\"";

IndexedUpload upload(const char *id)
{
    IndexedUpload made;
    made.id = *parseUploadId(id);
    made.contentName = "file.bin";
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
    page.matches.uploads.push_back(upload("000003-logfile"));
    page.matches.total = 1;
    page.matches.storedCount = 3;
    return page;
}

} // namespace

class TestUploadPage : public QObject
{
    Q_OBJECT

private slots:
    void showsWhoSentIt();
    void showsTimeFileAndSize();
    void showsTheMessageOfAReport();
    void linksToFileDownloadAndFields();
    void linksToNoFileThatIsNotThere();
    void showsNoMoreRoomsThanFit();
    void escapesEverything();
    void keepsTheFilters();
    void linksToNeighboursWithTheFilters();
    void saysHowManyAreShown();
    void saysHowToSendSomething();
    void saysThatNothingMatches();
    void isOneWellFormedPage();
    void writesSizes_data();
    void writesSizes();
    void knowsTimes_data();
    void knowsTimes();
};

void TestUploadPage::showsWhoSentIt()
{
    auto shown = upload("1-logfile");
    QCOMPARE(rowText(shown), QStringLiteral("1 - logfile - - fields -"));
    shown.nickname = "ann";
    shown.loginName = "a1";
    shown.userId = "7";
    shown.rooms = {{"12", "Blue"}, {"9", ""}};
    QCOMPARE(rowText(shown), QStringLiteral("1 - logfile ann login a1 id 7 Blue id 12 id 9 fields -"));
    shown = upload("2-logfile");
    shown.unsplit = "free text";
    QCOMPARE(rowText(shown), QStringLiteral("2 - logfile free text - fields -"));
}

void TestUploadPage::showsTimeFileAndSize()
{
    auto shown = upload("000001-logfile");
    shown.time = "2024-05-01T09:30:00Z";
    shown.fileName = "a b.log";
    shown.bytes = 3560017;
    QCOMPARE(rowText(shown), QStringLiteral("1 2024-05-01 09:30:00 logfile - - a b.log raw download fields 3.5 MB"));
    const QString row = QString::fromStdString(uploadRow(shown));
    QVERIFY(row.contains(QStringLiteral("<time datetime=\"2024-05-01T09:30:00Z\">")));
    QVERIFY(row.contains(QStringLiteral("title=\"3560017 bytes\"")));

    shown.time = "yesterday";
    QVERIFY(rowText(shown).startsWith(QStringLiteral("1 yesterday logfile")));
}

void TestUploadPage::showsTheMessageOfAReport()
{
    auto shown = upload("000001-report");
    shown.contentName = "report.json";
    shown.bytes = 30;
    QCOMPARE(rowText(shown), QStringLiteral("1 - report - - report.json raw download fields 30 B"));
    shown.message = "codec failed";
    QCOMPARE(rowText(shown), QStringLiteral("1 - report - - codec failed raw download fields 30 B"));
}

void TestUploadPage::linksToFileDownloadAndFields()
{
    auto shown = upload("000001-report");
    shown.bytes = 1;
    const QString row = QString::fromStdString(uploadRow(shown));
    for (const char *target : {"log", "file", "file?download", "fields"})
        QVERIFY2(row.contains(QStringLiteral("href=\"/uploads/000001-report/%1\"").arg(QLatin1String(target))), target);
}

void TestUploadPage::linksToNoFileThatIsNotThere()
{
    auto shown = upload("000001-logfile");
    shown.fileName = "a.log";
    const QString row = QString::fromStdString(uploadRow(shown));
    QVERIFY(!row.contains(QStringLiteral("/file")));
    QVERIFY(!row.contains(QStringLiteral("/log\"")));
}

void TestUploadPage::showsNoMoreRoomsThanFit()
{
    auto shown = upload("1-logfile");
    for (int i = 1; i <= 8; ++i)
        shown.rooms.push_back({std::to_string(i), "r"});
    QCOMPARE(rowText(shown), QStringLiteral("1 - logfile - r id 1 r id 2 r id 3 r id 4 r id 5 and 3 more fields -"));
}

/// Markup in every value that comes from outside.
void TestUploadPage::escapesEverything()
{
    UploadPage page;
    page.kinds = {"logfile", kMarkup};
    for (const char *name : {"kind", "user", "room", "text", "since", "until"})
        page.parameters[name] = kMarkup;
    page.origin = kMarkup;
    auto shown = upload("000001-logfile");
    for (auto *text : {&shown.time, &shown.nickname, &shown.loginName, &shown.userId, &shown.contentName})
        *text = kMarkup;
    shown.rooms = {{kMarkup, kMarkup}};
    shown.fileName = kMarkup;
    shown.bytes = 1;
    page.matches.uploads.push_back(shown);
    shown.unsplit = shown.message = kMarkup;
    page.matches.uploads.push_back(shown);
    page.matches.days = {{kMarkup, kMarkup, 1}, {"2026-11-22", kMarkup, 1}};
    page.matches.storedCount = 2;
    page.matches.older = parseUploadId("000001-logfile");
    const QString text = html(page);
    QVERIFY(!text.contains(QStringLiteral("<script")));
    QVERIFY(!text.contains(QStringLiteral("alert(\"")));
    // Five inputs, twice in the options, twice in words, one key of the chart; eleven in the rows.
    const QString escaped = QStringLiteral("&lt;script&gt;alert(&quot;1&quot;)&lt;/script&gt;&amp;&#39;&quot;");
    QVERIFY2(text.count(escaped) >= 18, QByteArray::number(text.count(escaped)).constData());

    page.matches = {};
    QVERIFY(!html(page).contains(QStringLiteral("<script")));
}

void TestUploadPage::keepsTheFilters()
{
    UploadPage page = pageWithOneUpload();
    page.parameters = {{"kind", "logfile"}, {"text", "ann"}, {"since", "2026-11-22"}, {"until", "2026-11-22T09:30"}};
    const QString text = html(page);
    QVERIFY(text.contains(QStringLiteral("<form method=\"get\" action=\"/\"")));
    QVERIFY(text.contains(QStringLiteral("<option value=\"logfile\" selected>")));
    QCOMPARE(text.count(QStringLiteral(" selected")), 1);
    QVERIFY(text.contains(QStringLiteral("name=\"text\" value=\"ann\"")));
    QVERIFY(text.contains(QStringLiteral("type=\"date\" name=\"since\" value=\"2026-11-22\"")));
    QVERIFY(text.contains(QStringLiteral("type=\"text\" name=\"until\" value=\"2026-11-22T09:30\"")));
}

void TestUploadPage::linksToNeighboursWithTheFilters()
{
    UploadPage page = pageWithOneUpload();
    QVERIFY(!html(page).contains(QStringLiteral("<nav")));
    page.parameters = {{"kind", "logfile"}, {"text", "a&b=\xc3\xab <"}, {"before", "000009-logfile"}};
    page.matches.older = page.matches.newer = parseUploadId("000003-logfile");
    // Later versions of the HTTP library write a blank as a plus.
    const QString text = html(page).replace(QStringLiteral("%C3%AB+%3C"), QStringLiteral("%C3%AB%20%3C"));
    QVERIFY(text.contains(QStringLiteral(
        "href=\"/?before=000003-logfile&amp;kind=logfile&amp;text=a%26b%3D%C3%AB%20%3C\">Older uploads</a>")));
    QVERIFY(text.contains(QStringLiteral(
        "href=\"/?after=000003-logfile&amp;kind=logfile&amp;text=a%26b%3D%C3%AB%20%3C\">Newer uploads</a>")));
}

void TestUploadPage::saysHowManyAreShown()
{
    UploadPage page = pageWithOneUpload();
    QVERIFY(html(page).contains(QStringLiteral("3 uploads, 1 to 1, newest first.</p>")));
    page.matches.newerCount = 2;
    page.parameters = {{"before", "000004-logfile"}};
    QVERIFY(html(page).contains(QStringLiteral("3 uploads, 3 to 3, newest first. <a href=\"/\">Show all</a>")));
    page.parameters = {{"text", "x"}};
    page.matches.newerCount = 0;
    QVERIFY(html(page).contains(QStringLiteral("1 match among 3 uploads, 1 to 1, newest first.")));
    page.matches = {};
    page.matches.storedCount = 3;
    QVERIFY(html(page).contains(QStringLiteral("0 matches among 3 uploads.")));
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
    page.matches.storedCount = 3;
    page.parameters = {{"text", "x"}};
    QVERIFY(html(page).contains(QStringLiteral("No upload matches.")));
    QVERIFY(html(page).contains(QStringLiteral("<form")));
}

void TestUploadPage::isOneWellFormedPage()
{
    UploadPage page = pageWithOneUpload();
    page.matches.uploads.front().nickname = "ann";
    page.matches.uploads.front().rooms = {{"1", "x"}};
    page.matches.uploads.front().bytes = 1;
    page.matches.older = parseUploadId("000003-logfile");
    page.matches.days = {{"2026-11-22", "logfile", 3}};
    const QString text = html(page);
    QVERIFY(text.startsWith(QStringLiteral("<!DOCTYPE html>\n<html lang=\"en\">")));
    for (const char *part : {"<meta charset=\"utf-8\">", "name=\"viewport\"", "<title>Uploads",
                             "<th scope=\"col\">User", "<th scope=\"row\">3</th>"})
        QVERIFY2(text.contains(QLatin1String(part)), part);
    QVERIFY(!text.contains(QStringLiteral("<script")));
    for (const char *name : {"html",   "head", "body",  "main",  "title", "h1",  "form", "label",  "select", "option",
                             "button", "p",    "table", "thead", "tbody", "tr",  "th",   "td",     "div",    "ul",
                             "li",     "a",    "b",     "bdi",   "span",  "nav", "svg",  "figure", "desc"}) {
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

void TestUploadPage::knowsTimes_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<bool>("isTime");
    QTest::newRow("usual") << QByteArray("2024-12-31T23:30:00Z") << true;
    QTest::newRow("leap day") << QByteArray("2024-02-29T00:00:00Z") << true;
    QTest::newRow("empty") << QByteArray() << false;
    QTest::newRow("text") << QByteArray("now") << false;
    QTest::newRow("text behind") << QByteArray("2024-12-31T23:30:00Z<b>") << false;
    QTest::newRow("NUL behind") << QByteArray("2024-12-31T23:30:00Z\0", 21) << false;
    QTest::newRow("no such day") << QByteArray("2023-02-30T00:00:00Z") << false;
    QTest::newRow("one digit") << QByteArray("2023-2-3T0:00:00Z") << false;
}

void TestUploadPage::knowsTimes()
{
    QFETCH(QByteArray, text);
    QTEST(isUtcTime(text.toStdString()), "isTime");
}

QTEST_GUILESS_MAIN(TestUploadPage)
#include "tst_uploadpage.moc"
