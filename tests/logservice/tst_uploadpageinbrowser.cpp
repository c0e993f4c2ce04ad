#include "browser.h"
#include "support/files/fileio.h"
#include "support/server/rawclient.h"
#include "support/tool/logserviceprocess.h"
#include "support/tool/toolsetup.h"
#include "support/wire/endpoints.h"
#include "support/wire/multipartform.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QRegularExpression>
#include <QtCore/QSettings>
#include <QtTest/QtTest>

namespace {

const char kScript[] = "first line\n<script>document.title='owned'</script>\nlast line \xe2\x9c\x93\n";
const char kNickname[] = "<b>Zo\xc3\xab</b> & \"\xe3\x82\xb2\xe3\x82\xb9\xe3\x83\x88\"";
const char kRoom[] = "<img src=x onerror=\"document.title='owned'\">, \xe4\xbc\x9a\xe8\xad\xb0\xe5\xae\xa4";

/// The text that \a html, which has no tags, stands for.
QString plain(QString html)
{
    html.replace(QStringLiteral("&lt;"), QStringLiteral("<")).replace(QStringLiteral("&gt;"), QStringLiteral(">"));
    return html.replace(QStringLiteral("&quot;"), QStringLiteral("\""))
        .replace(QStringLiteral("&amp;"), QStringLiteral("&"));
}

/// The text that a browser shows for \a html.
QString shownText(QString html)
{
    static const QRegularExpression tag(QStringLiteral("<[^>]*>"));
    return plain(html.remove(tag)).simplified();
}

/// The rows of the page, from top to bottom, each as "kind|user|rooms|file".
QStringList rows(const QString &document)
{
    static const QRegularExpression row(QStringLiteral("<tr id=\"[^\"]*\">(.*?)</tr>"),
                                        QRegularExpression::DotMatchesEverythingOption);
    static const QRegularExpression cell(
        QStringLiteral("<td data-label=\"(Kind|User|Rooms|File)\"><div>(.*?)</div></td>"),
        QRegularExpression::DotMatchesEverythingOption);
    QStringList lines;
    auto found = row.globalMatch(document);
    while (found.hasNext()) {
        QStringList cells;
        auto inRow = cell.globalMatch(found.next().captured(1));
        while (inRow.hasNext())
            cells << shownText(inRow.next().captured(2));
        lines << cells.join(QLatin1Char('|'));
    }
    return lines;
}

QString title(const QString &document)
{
    static const QRegularExpression pattern(QStringLiteral("<title>(.*?)</title>"));
    return pattern.match(document).captured(1);
}

} // namespace

/// What a person sees in a browser after a run of the real tool against the real service.
class TestUploadPageInBrowser : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void showsTheRowsOfTheRun();
    void filtersByKind();
    void filtersByText();
    void showsALogWithAScriptAsText();
    void showsFieldsAsText();
    void opensALogByRecords();
    void drawsTheUploadsOfTheDay();
    void isNoWiderThanTheScreen_data();
    void isNoWiderThanTheScreen();

private:
    QByteArray get(const QByteArray &target)
    {
        return RawClient::ask(service_.port(), "GET " + target + " HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n").body;
    }
    QString load(const QString &target)
    {
        return QString::fromUtf8(
            browser::documentOf(QStringLiteral("http://127.0.0.1:%1%2").arg(service_.port()).arg(target)));
    }
    static QString expectedRow(const char *kind, const QString &file)
    {
        return QStringLiteral("%1|%2 login zoe id 10042|%3 id 101|%4 raw download fields")
            .arg(QLatin1String(kind), QString::fromUtf8(kNickname), QString::fromUtf8(kRoom), file);
    }

    const QTemporaryDir folder_;
    LogServiceProcess service_;
    const Sandbox sandbox_;
    QString ownLog_;
};

void TestUploadPageInBrowser::initTestCase()
{
    if (browser::program().isEmpty())
        QSKIP("there is no Chromium");
    QVERIFY(service_.start({QStringLiteral("--port"), QString::number(servicePort()), QStringLiteral("--no-report"),
                            QStringLiteral("--dir"), folder_.path()}));
    QVERIFY(sandbox_.isValid());
    QVERIFY(sandbox_.writeIni([](QSettings &ini) {
        ini.setValue(QStringLiteral("system/nickname"), QString::fromUtf8(kNickname));
        ini.setValue(QStringLiteral("system/loginName"), QStringLiteral("zoe"));
        ini.setValue(QStringLiteral("system/userId"), 10042);
        ini.setValue(QStringLiteral("system/namespace"), QStringLiteral("<i>demo</i>"));
        ini.setValue(QStringLiteral("room/101"), QString::fromUtf8(kRoom));
    }));
    QVERIFY(!addLog(sandbox_, QStringLiteral("a_script"), kScript).isEmpty());
    QVERIFY(!addLog(sandbox_, QStringLiteral("b_sdk"), "sdk", 1).isEmpty());
    const QString marked = sandbox_.addFile(QString::fromUtf8("files/<u>Gespr\xc3\xa4"
                                                              "ch&amp;.html"),
                                            kScript);
    QVERIFY(addGroup(sandbox_, QStringLiteral("c_marked"), marked));
    const ToolResult result = sandbox_.runTool({});
    QVERIFY2(result.isSuccess(), result.describe());
    ownLog_ = QFileInfo(sandbox_.ownLogs().value(0)).fileName();
}

void TestUploadPageInBrowser::cleanupTestCase()
{
    if (browser::program().isEmpty())
        return;
    QCOMPARE(service_.stop(), 0);
    QCOMPARE(service_.errorText(), QByteArray());
}

void TestUploadPageInBrowser::showsTheRowsOfTheRun()
{
    const QString document = load(QStringLiteral("/"));
    QCOMPARE(rows(document), (QStringList{expectedRow("logfile", ownLog_),
                                          expectedRow("logfile", QString::fromUtf8("<u>Gespr\xc3\xa4"
                                                                                   "ch&amp;.html")),
                                          expectedRow("producer", QStringLiteral("b_sdk.log")),
                                          expectedRow("logfile", QStringLiteral("a_script.log"))}));
    QCOMPARE(title(document), QStringLiteral("Uploads - kxlogservice"));
    // What was sent has made no element.
    for (const char *element : {"<img", "<u>", "<script", "<i>"})
        QVERIFY2(!document.contains(QLatin1String(element)), element);
}

void TestUploadPageInBrowser::filtersByKind()
{
    const QString document = load(QStringLiteral("/?kind=producer&text="));
    QCOMPARE(rows(document), QStringList(expectedRow("producer", QStringLiteral("b_sdk.log"))));
    QVERIFY(document.contains(QStringLiteral("<option value=\"producer\" selected=\"\">")));
}

void TestUploadPageInBrowser::filtersByText()
{
    QCOMPARE(rows(load(QStringLiteral("/?kind=&text=A_SCRIPT"))),
             QStringList(expectedRow("logfile", QStringLiteral("a_script.log"))));
    const QString nothing = load(QStringLiteral("/?text=%22%3E%3Cscript%3Edocument.title%3D'owned'%3C%2Fscript%3E"));
    QCOMPARE(rows(nothing), QStringList());
    // A browser that writes a document leaves < and > in values as they are, so the whole attribute is looked for.
    static const QRegularExpression input(QStringLiteral("<input type=\"search\" name=\"text\" value=\"([^\"]*)\">"));
    const auto found = input.match(nothing);
    QVERIFY2(found.hasMatch(), qPrintable(nothing));
    QCOMPARE(plain(found.captured(1)), QStringLiteral("\"><script>document.title='owned'</script>"));
    QCOMPARE(nothing.count(QStringLiteral("<input")), 5);
    // Outside of that value there is no such element.
    QVERIFY(!QString(nothing).remove(found.captured(0)).contains(QStringLiteral("<script")));
    QVERIFY(nothing.contains(QStringLiteral("No upload matches.")));
}

/// A browser puts plain text into one element of a document that it makes itself.
void TestUploadPageInBrowser::showsALogWithAScriptAsText()
{
    for (const char *id : {"000001-logfile", "000003-logfile"}) {
        const QString opened = load(QStringLiteral("/uploads/%1/log").arg(QLatin1String(id)));
        QVERIFY(shownText(opened).contains(QString::fromUtf8("11<script>document.title='owned'</script>")));
        QVERIFY(!opened.contains(QStringLiteral("<script")));
        QVERIFY(!title(opened).contains(QStringLiteral("owned")));
        const QString document = load(QStringLiteral("/uploads/%1/file").arg(QLatin1String(id)));
        const int begin = document.indexOf(QStringLiteral("<pre"));
        QVERIFY2(begin > 0, qPrintable(document));
        QCOMPARE(shownText(document.mid(begin)), QString::fromUtf8(kScript).simplified());
        QVERIFY(!document.contains(QStringLiteral("<script")));
        QVERIFY(!title(document).contains(QStringLiteral("owned")));
    }
}

void TestUploadPageInBrowser::showsFieldsAsText()
{
    const QString document = load(QStringLiteral("/uploads/000001-logfile/fields"));
    QVERIFY2(document.contains(QStringLiteral("\"namespace\":\"&lt;i&gt;demo&lt;/i&gt;\"")), qPrintable(document));
}

/// The tool's own log is written by the logging module.
void TestUploadPageInBrowser::opensALogByRecords()
{
    const QString document = load(QStringLiteral("/uploads/000004-logfile/log"));
    QCOMPARE(title(document), ownLog_ + QStringLiteral(" - kxlogservice"));
    QVERIFY2(document.contains(QStringLiteral("<td data-label=\"Level\">debug</td>")), qPrintable(document));
    const int all = document.count(QStringLiteral("<tr id="));
    const QString some = load(QStringLiteral("/uploads/000004-logfile/log?level=&text=B_SDK"));
    QVERIFY(some.count(QStringLiteral("<tr id=")) > 0);
    QVERIFY(some.count(QStringLiteral("<tr id=")) < all);
}

void TestUploadPageInBrowser::drawsTheUploadsOfTheDay()
{
    const QString document = load(QStringLiteral("/"));
    QVERIFY(document.contains(QStringLiteral("<rect class=\"kind-producer\"")));
    QVERIFY(document.contains(QStringLiteral(": 3 logfile, 1 producer</desc>")));
}

void TestUploadPageInBrowser::isNoWiderThanTheScreen_data()
{
    QTest::addColumn<QString>("room");
    const QString name(300, QLatin1Char('n'));
    QTest::newRow("long names") << QStringLiteral("nickname-%1.loginname-%1.userid-%1.roomid-%1.roomname-%1").arg(name);
    QTest::newRow("no names") << name;
}

/// The pages themselves have no scripts: one is added to a copy, to measure it.
void TestUploadPageInBrowser::isNoWiderThanTheScreen()
{
    QFETCH(QString, room);
    const QString name(300, QLatin1Char('f'));
    const QByteArray answer =
        RawClient::ask(service_.port(), post(kLogFilePath, formType(), logForm(room, name, name, QByteArray(300, 'x'))))
            .body;
    const QTemporaryDir folder;
    const QString copy = folder.filePath(QStringLiteral("copy.html"));
    static const QRegularExpression row(QStringLiteral("<tr id=\"([^\"]*)\""));
    const QByteArray id = row.match(QString::fromUtf8(get("/"))).captured(1).toUtf8();
    QVERIFY2(!id.isEmpty(), answer.constData());
    for (const QByteArray &target : {QByteArray("/"), "/uploads/" + id + "/log"}) {
        QByteArray page = get(target);
        page.replace("<link rel=\"stylesheet\" href=\"/style.css\">",
                     "<style>" + get("/style.css") + "html { width: 390px }</style>");
        page.replace("</body>", "<script>document.title = document.documentElement.scrollWidth <= innerWidth &&"
                                "[...document.querySelectorAll('main, main *:not(thead, thead *)')].every("
                                "e => e.getBoundingClientRect().right <= 390) ? 'fits' : 'too wide'</script></body>");
        QVERIFY(writeFile(copy, page));
        QCOMPARE(title(QString::fromUtf8(browser::documentOf(QUrl::fromLocalFile(copy).toString()))),
                 QStringLiteral("fits"));
    }
}

QTEST_GUILESS_MAIN(TestUploadPageInBrowser)
#include "tst_uploadpageinbrowser.moc"
