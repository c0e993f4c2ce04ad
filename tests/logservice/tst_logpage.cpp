#include "page/logpage.h"
#include "page/uploadchart.h"

#include <QtTest/QtTest>

namespace {

const char kMarkup[] = "<script>alert(\"1\")</script>&'\"";

QString html(const LogView &view)
{
    return QString::fromStdString(logPageHtml(view));
}

/// The page of a log with one record, somewhere in the middle.
LogView viewOfOneRecord()
{
    LogView view;
    view.upload.id = *parseUploadId("000007-logfile");
    view.upload.fileName = "client.log";
    view.upload.bytes = view.fileBytes = 9000;
    view.page.hasRecords = true;
    view.page.begin = 300;
    view.page.end = 400;
    view.page.rows = {
        {350, Level::Warning, "2024-05-01 09:30:00", "src/net.cpp:42", "void Net::connect()", "timeout\nof 5 s"}};
    return view;
}

} // namespace

/// The page of one stored file, and the chart above the list.
class TestLogPage : public QObject
{
    Q_OBJECT

private slots:
    void showsARecord();
    void showsLinesWithoutLevels();
    void isCalledWhatAReportTells();
    void linksToARowWhereItStands();
    void linksToARowThatWasFoundAmongItsNeighbours();
    void linksToARowThatWasFoundBackwards();
    void leadsOnWithTheFilters();
    void leadsNowhereFromAWholeFile();
    void saysHowFarItLooked();
    void escapesEverything();
    void drawsDaysByKind();
    void linksFromADayToItsUploads();
    void drawsNoDaysThatDoNotFit();
    void drawsNothingWithoutUploads();
};

void TestLogPage::showsARecord()
{
    const QString text = html(viewOfOneRecord());
    QVERIFY(text.contains(QStringLiteral("<h1><bdi>client.log</bdi></h1>")));
    QVERIFY(text.contains(QStringLiteral("<tr id=\"b350\" class=\"warning\">")));
    QVERIFY(text.contains(QStringLiteral("<td data-label=\"Time\"><bdi>2024-05-01 09:30:00</bdi></td>"
                                         "<td data-label=\"Level\">warning</td>"
                                         "<td data-label=\"Place\"><bdi title=\"void Net::connect()\">src/net.cpp:42"
                                         "</bdi></td><td class=\"text\"><bdi>timeout\nof 5 s</bdi></td>")));
    for (const char *target : {"file", "file?download", "fields"})
        QVERIFY2(text.contains(QStringLiteral("href=\"/uploads/000007-logfile/%1\"").arg(QLatin1String(target))),
                 target);
}

void TestLogPage::showsLinesWithoutLevels()
{
    LogView view = viewOfOneRecord();
    view.page.hasRecords = false;
    view.page.rows = {{350, Level::None, "", "", "", "plain"}};
    const QString text = html(view);
    QVERIFY(text.contains(QStringLiteral("<tr id=\"b350\"><th scope=\"row\">")));
    QVERIFY(text.contains(QStringLiteral("</th><td class=\"text\"><bdi>plain</bdi></td></tr>")));
    QVERIFY(!text.contains(QStringLiteral("name=\"level\"")));
}

/// The files of all reports have the same name.
void TestLogPage::isCalledWhatAReportTells()
{
    LogView view = viewOfOneRecord();
    view.upload.fileName.reset();
    view.upload.contentName = "error.json";
    QVERIFY(html(view).contains(QStringLiteral("<h1><bdi>error.json</bdi></h1>")));
    view.upload.message = "3: " + std::string(300, 'x');
    const QString shown = QStringLiteral("3: ") + QString(197, QLatin1Char('x')) + QChar(0x2026);
    QVERIFY(html(view).contains(QStringLiteral("<h1><bdi>%1</bdi></h1>").arg(shown)));
    QVERIFY(html(view).contains(QStringLiteral("<title>%1 - ").arg(shown)));
}

void TestLogPage::linksToARowWhereItStands()
{
    QVERIFY(html(viewOfOneRecord())
                .contains(QStringLiteral("<a href=\"/uploads/000007-logfile/log?from=300#b350\">350</a>")));
}

void TestLogPage::linksToARowThatWasFoundAmongItsNeighbours()
{
    LogView view = viewOfOneRecord();
    view.parameters = {{"text", "timeout"}, {"from", "300"}};
    view.query.words = {"timeout"};
    QVERIFY(html(view).contains(QStringLiteral("<a href=\"/uploads/000007-logfile/log?from=350#b350\">350</a>")));
}

// Forwards, a page from the same place may end in front of the row.
void TestLogPage::linksToARowThatWasFoundBackwards()
{
    LogView view = viewOfOneRecord();
    view.parameters = {{"before", "400"}};
    view.query.before = 400;
    QVERIFY(html(view).contains(QStringLiteral("<a href=\"/uploads/000007-logfile/log?from=350#b350\">350</a>")));
}

void TestLogPage::leadsOnWithTheFilters()
{
    LogView view = viewOfOneRecord();
    view.parameters = {{"text", "a&b"}, {"level", "info"}, {"before", "400"}};
    view.query.words = {"a&b"};
    view.query.level = Level::Info;
    const QString text = html(view);
    for (const char *link : {"from=0&amp;level=info&amp;text=a%26b\">Beginning</a>",
                             "before=300&amp;level=info&amp;text=a%26b\">Earlier</a>",
                             "from=400&amp;level=info&amp;text=a%26b\">Look further</a>",
                             "before=9000&amp;level=info&amp;text=a%26b\">End</a>"})
        QVERIFY2(text.contains(QLatin1String(link)), link);
    QVERIFY(text.contains(QStringLiteral("<option value=\"info\" selected>info and above</option>")));
    QVERIFY(text.contains(QStringLiteral("name=\"text\" value=\"a&amp;b\"")));
}

void TestLogPage::leadsNowhereFromAWholeFile()
{
    LogView view = viewOfOneRecord();
    view.page.begin = 0;
    view.page.end = view.fileBytes = 400;
    QVERIFY(!html(view).contains(QStringLiteral("<nav")));
}

void TestLogPage::saysHowFarItLooked()
{
    LogView view = viewOfOneRecord();
    QVERIFY(html(view).contains(QStringLiteral("1 record in the bytes 300 to 400 of 9000.</p>")));
    view.query.words = {"x"};
    view.page.rows.clear();
    QVERIFY(html(view).contains(QStringLiteral("0 matching records in the bytes 300 to 400 of 9000.")));
    QVERIFY(!html(view).contains(QStringLiteral("<table")));
}

void TestLogPage::escapesEverything()
{
    LogView view = viewOfOneRecord();
    for (auto *text : {&view.upload.time, &view.upload.nickname, &view.upload.loginName, &view.upload.userId})
        *text = kMarkup;
    view.upload.fileName = kMarkup;
    view.upload.rooms = {{kMarkup, kMarkup}};
    view.parameters = {{"text", kMarkup}};
    view.page.rows = {{350, Level::Debug, kMarkup, kMarkup, kMarkup, kMarkup}};
    const QString text = html(view);
    QVERIFY(!text.contains(QStringLiteral("<script")));
    QVERIFY(!text.contains(QStringLiteral("alert(\"")));
    // Title, headline, input, four of the sender, two of the room, four of the row.
    QCOMPARE(text.count(QStringLiteral("&lt;script&gt;alert(&quot;1&quot;)&lt;/script&gt;&amp;&#39;&quot;")), 13);
}

void TestLogPage::drawsDaysByKind()
{
    const QString svg = QString::fromStdString(
        uploadChart({{"2026-02-28", "crash", 1}, {"2026-02-28", "logfile", 3}, {"2026-03-01", "crash", 2}}, {}));
    QVERIFY(svg.contains(QStringLiteral("<title id=\"chart-title\">Uploads per day by kind</title>")));
    QVERIFY(
        svg.contains(QStringLiteral("<desc id=\"chart-text\">2026-01-31 to 2026-03-01: 3 crash, 3 logfile</desc>")));
    QVERIFY(svg.contains(QStringLiteral("<title>2026-02-28: 1 crash, 3 logfile</title>")));
    // The highest day takes the height of 100, a quarter of it the crash; the days stand side by side.
    for (const char *part :
         {"<rect class=\"kind-crash\" x=\"560\" y=\"75.000000\" width=\"16\" height=\"25.000000\"/>",
          "<rect class=\"kind-logfile\" x=\"560\" y=\"0.000000\" width=\"16\" height=\"75.000000\"/>",
          "<rect class=\"kind-crash\" x=\"580\" y=\"50.000000\" width=\"16\" height=\"50.000000\"/>",
          "at most 4 a day"})
        QVERIFY2(svg.contains(QLatin1String(part)), part);
    // The policy of the page lets no such attribute do anything.
    QVERIFY(!svg.contains(QStringLiteral("style=")));
}

void TestLogPage::linksFromADayToItsUploads()
{
    const QString svg = QString::fromStdString(
        uploadChart({{"2026-02-28", "crash", 1}}, {{"user", "ann"}, {"since", "2026-01-01"}, {"before", "7-crash"}}));
    QVERIFY(svg.contains(QStringLiteral("href=\"/?since=2026-02-28&amp;until=2026-02-28&amp;user=ann\"")));
}

void TestLogPage::drawsNoDaysThatDoNotFit()
{
    const QString svg =
        QString::fromStdString(uploadChart({{"2020-01-01", "crash", 1000}, {"2026-02-28", "crash", 1}}, {}));
    QCOMPARE(svg.count(QStringLiteral("<a ")), 1);
    QVERIFY(svg.contains(QStringLiteral("at most 1 a day")));
}

void TestLogPage::drawsNothingWithoutUploads()
{
    QCOMPARE(uploadChart({}, {}), std::string());
}

QTEST_GUILESS_MAIN(TestLogPage)
#include "tst_logpage.moc"
