#include "support/files/fileio.h"
#include "support/files/inifile.h"
#include "support/uploader/text.h"
#include "support/uploader/uploadini.h"
#include "support/uploader/uploadscene.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QPointer>
#include <QStandardPaths>
#include <QTest>

Q_DECLARE_METATYPE(Reply)

namespace {

constexpr char kTimeFormat[] = "yyyy-MM-dd-hh-mm-ss";

QString recordPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation) + QStringLiteral("/info.ini");
}

QString now()
{
    return QDateTime::currentDateTime().toString(QLatin1String(kTimeFormat));
}

/// A request of the test whose answer goes to the slot: the tool itself has none.
void ask(UploadScene &scene)
{
    QNetworkRequest request(scene.server.url(QStringLiteral("/info")));
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("text/plain"));
    QNetworkReply *reply = scene.uploader.getManager()->post(request, QByteArrayLiteral("info"));
    QObject::connect(reply, SIGNAL(finished()), &scene.uploader, SLOT(onInfoFinished()));
}

} // namespace

class TestInfo : public QObject
{
    Q_OBJECT

private slots:
    void sendsNothingOfItsOwn();
    void recordsTheTimeOfAnAcceptedAnswer();
    void replacesAnEarlierTime();
    void keepsTheRecordsOfOtherUsers();
    void recordsUnderTheUserId_data();
    void recordsUnderTheUserId();
    void leavesTheRecordUntouched_data();
    void leavesTheRecordUntouched();
    void goesOnWithTheListOrQuits_data();
    void goesOnWithTheListOrQuits();
    void logsTheAnswer();
    void closesTheFileOfTheReply();
};

void TestInfo::sendsNothingOfItsOwn()
{
    UploadScene scene;
    QVERIFY(scene.isValid());
    scene.addGroup(text("log1"), scene.addFile(text("a.log"), "content"));
    QCOMPARE(scene.run([&] { scene.uploader.uploadInfo(); }), RunEnd::Quit);
    QCOMPARE(scene.sentFileNames(), (QStringList{text("a.log"), scene.ownLogName()}));
    QVERIFY(!QFileInfo::exists(recordPath()));
    QVERIFY(scene.lines().first().startsWith(text("getFileName: ")));
}

void TestInfo::recordsTheTimeOfAnAcceptedAnswer()
{
    UploadScene scene;
    QVERIFY(scene.isValid());
    QVERIFY2(recordPath().startsWith(scene.path(text("home"))), "not in the user's home");
    uploadini::write("[system]\nuserId=42\n");
    const QString before = now();
    QCOMPARE(scene.run([&] { ask(scene); }), RunEnd::Quit);
    const QString after = now();

    const QVariantMap values = IniFile(recordPath()).values();
    QCOMPARE(values.keys(), QList<QString>{text("42/time")});
    const QString time = values.first().toString();
    QVERIFY2(before <= time && time <= after, qPrintable(time));
    QCOMPARE(QDateTime::fromString(time, QLatin1String(kTimeFormat)).toString(QLatin1String(kTimeFormat)), time);
    QCOMPARE(readFile(recordPath()).simplified(), "[42] time=" + time.toUtf8());
}

void TestInfo::replacesAnEarlierTime()
{
    UploadScene scene;
    QVERIFY(scene.isValid());
    QVERIFY(QDir().mkpath(QFileInfo(recordPath()).path()));
    QVERIFY(writeFile(recordPath(), "[42]\ntime=2016-05-01-13-07-09\nother=kept\n"));
    uploadini::write("[system]\nuserId=42\n");
    const QString before = now();
    QCOMPARE(scene.run([&] { ask(scene); }), RunEnd::Quit);
    const QVariantMap values = IniFile(recordPath()).values();
    QCOMPARE(values.keys(), (QList<QString>{text("42/other"), text("42/time")}));
    QVERIFY(values.value(text("42/time")).toString() >= before);
}

void TestInfo::keepsTheRecordsOfOtherUsers()
{
    UploadScene scene;
    QVERIFY(scene.isValid());
    QVERIFY(QDir().mkpath(QFileInfo(recordPath()).path()));
    QVERIFY(writeFile(recordPath(), "[41]\ntime=2016-05-01-13-07-09\n"));
    uploadini::write("[system]\nuserId=42\n");
    QCOMPARE(scene.run([&] { ask(scene); }), RunEnd::Quit);
    const QVariantMap values = IniFile(recordPath()).values();
    QCOMPARE(values.keys(), (QList<QString>{text("41/time"), text("42/time")}));
    QCOMPARE(values.value(text("41/time")).toString(), text("2016-05-01-13-07-09"));
}

void TestInfo::recordsUnderTheUserId_data()
{
    QTest::addColumn<QString>("userId");
    QTest::newRow("number") << text("42");
    QTest::newRow("non-ASCII") << text("\xC3\xA4nn \xE4\xB8\xAD");
    QTest::newRow("spaces and signs") << text("a b;#=%1[x]");
    QTest::newRow("quotes") << text("\"a\"");
    QTest::newRow("address") << text("ann@example.org");
    // Settings objects take a slash for a level of groups.
    QTest::newRow("slash") << text("a/b");
    QTest::newRow("empty") << QString();
}

void TestInfo::recordsUnderTheUserId()
{
    QFETCH(const QString, userId);
    UploadScene scene;
    QVERIFY(scene.isValid());
    const QString before = now();
    scene.uploader.userId = userId;
    QCOMPARE(runApplication([&] { ask(scene); }), RunEnd::Quit);
    const QVariantMap values = IniFile(recordPath()).values();
    QCOMPARE(values.keys(), QList<QString>{userId.isEmpty() ? text("time") : userId + text("/time")});
    QVERIFY(values.first().toString() >= before);
}

void TestInfo::leavesTheRecordUntouched_data()
{
    QTest::addColumn<Reply>("answer");
    QTest::newRow("Code 3") << Reply::json("{\"Code\":3}");
    QTest::newRow("not JSON") << Reply::http(200, "OK");
    QTest::newRow("empty") << Reply::http(200, QByteArray());
    QTest::newRow("500 with JSON") << Reply::http(500, "{\"Code\":0}");
    QTest::newRow("close without answer") << Reply::closeAfterBody();
}

void TestInfo::leavesTheRecordUntouched()
{
    QFETCH(const Reply, answer);
    for (const bool exists : {true, false}) {
        UploadScene scene({}, answer);
        QVERIFY(scene.isValid());
        const QByteArray content = "; as it is\n[42]\ntime=2016-05-01-13-07-09\n";
        if (exists) {
            QVERIFY(QDir().mkpath(QFileInfo(recordPath()).path()));
            QVERIFY(writeFile(recordPath(), content));
        }
        uploadini::write("[system]\nuserId=42\n");
        QVERIFY(
            scene.run([&] { ask(scene); }, [&] { return scene.uploader.findChildren<QNetworkReply *>().size() > 1; }) !=
            RunEnd::TimedOut);
        QCOMPARE(readFile(recordPath()), exists ? content : QByteArray());
        QCOMPARE(QFileInfo::exists(recordPath()), exists);
    }
}

void TestInfo::goesOnWithTheListOrQuits_data()
{
    QTest::addColumn<Reply>("answer");
    QTest::addColumn<bool>("goesOn");
    QTest::newRow("Code 0") << Reply::json() << true;
    QTest::newRow("Code 3") << Reply::json("{\"Code\":3}") << true;
    QTest::newRow("no Code") << Reply::json("{}") << true;
    QTest::newRow("not JSON") << Reply::http(200, "OK") << true;
    QTest::newRow("empty") << Reply::http(200, QByteArray()) << true;
    QTest::newRow("500 with JSON") << Reply::http(500, "{\"Code\":0}") << false;
    QTest::newRow("reset after the body") << Reply::resetAfterBody() << false;
    QTest::newRow("close without answer") << Reply::closeAfterBody() << false;
    QTest::newRow("garbage") << Reply::garbage() << false;
}

void TestInfo::goesOnWithTheListOrQuits()
{
    QFETCH(const Reply, answer);
    QFETCH(const bool, goesOn);
    UploadScene scene({}, answer);
    QVERIFY(scene.isValid());
    scene.addGroup(text("log1"), scene.addFile(text("a.log"), "content"));
    const auto listIsUnderWay = [&] {
        const auto replies = scene.uploader.findChildren<QNetworkReply *>();
        return replies.size() > 1 && replies.at(1)->property("group") == text("log1");
    };
    QCOMPARE(scene.run([&] { ask(scene); }, listIsUnderWay), goesOn ? RunEnd::Stopped : RunEnd::Quit);
    if (!goesOn)
        QCOMPARE(scene.uploader.fileGroups, QList<QString>{text("log1")});
}

void TestInfo::logsTheAnswer()
{
    UploadScene scene({Reply::json("{\"Code\":3}")});
    QVERIFY(scene.isValid());
    QCOMPARE(scene.run([&] { ask(scene); }), RunEnd::Quit);
    QCOMPARE(scene.lines(),
             (QStringList{text("onInfoFinished: \"Unknown error\" QNetworkReply::NoError"),
                          text("onInfoFinished: data: \"{\\\"Code\\\":3}\""), text("getFileInfo: \"\"")}));
}

void TestInfo::closesTheFileOfTheReply()
{
    UploadScene scene;
    QVERIFY(scene.isValid());
    QPointer<QFile> file = new QFile(scene.addFile(text("file"), "content"));
    QVERIFY(file->open(QIODevice::ReadOnly));
    QCOMPARE(scene.run([&] {
        ask(scene);
        scene.replyInFlight()->setProperty("file", QVariant::fromValue(file.data()));
    }),
             RunEnd::Quit);
    QVERIFY2(file.isNull(), "closed and deleted");
}

QTEST_GUILESS_MAIN(TestInfo)
#include "tst_info.moc"
