#include "support/uploader/uploadini.h"
#include "support/uploader/uploadscene.h"

#include <QFileInfo>
#include <QNetworkReply>
#include <QTest>

Q_DECLARE_METATYPE(Reply)

namespace {

/// What an answer means; the file of an ordinary group always stays.
enum class Meaning { Accepted, Rejected, Unreadable };

} // namespace

Q_DECLARE_METATYPE(Meaning)

class TestLogListAnswers : public QObject
{
    Q_OBJECT

private slots:
    void handlesTheAnswer_data();
    void handlesTheAnswer();
    void doesNotCountTwoTransmissionsOfOneBodyTwice();
    void goesOnWithTheOwnLogWhenNobodyListens();
    void keepsTheGroupOfAnSdkFileThatCannotBeDeleted();
};

void TestLogListAnswers::handlesTheAnswer_data()
{
    QTest::addColumn<Reply>("answer");
    QTest::addColumn<Meaning>("meaning");
    QTest::addColumn<bool>("sdk");

    const QByteArray accepting = QByteArrayLiteral("{\"Code\":0}");
    const struct
    {
        const char *name;
        Reply answer;
        Meaning meaning;
    } rows[] = {
        {"Code 0", Reply::json(accepting), Meaning::Accepted},
        {"Code 5", Reply::json("{\"Code\":5}"), Meaning::Rejected},
        {"Code -1", Reply::json("{\"Code\":-1}"), Meaning::Rejected},
        {"no Code", Reply::json("{\"Msg\":\"ok\"}"), Meaning::Accepted},
        {"Code is a text", Reply::json("{\"Code\":\"5\"}"), Meaning::Accepted},
        {"Code is null", Reply::json("{\"Code\":null}"), Meaning::Accepted},
        {"array", Reply::json("[5]"), Meaning::Accepted},
        {"Code 0 as text/html", Reply::http(200, accepting, {{"Content-Type", "text/html"}}), Meaning::Accepted},
        {"201", Reply::http(201, accepting), Meaning::Accepted},
        {"Code 0 in small pieces", Reply::drip(accepting, 1, 1), Meaning::Accepted},
        {"1 MB of JSON", Reply::big(1000000), Meaning::Accepted},
        {"words", Reply::http(200, "OK"), Meaning::Unreadable},
        {"number", Reply::http(200, "0"), Meaning::Unreadable},
        {"truncated JSON", Reply::http(200, "{\"Code\":0"), Meaning::Unreadable},
        {"empty", Reply::http(200, QByteArray()), Meaning::Unreadable},
        {"204", Reply::http(204, QByteArray()), Meaning::Unreadable},
        {"404", Reply::http(404, "not here"), Meaning::Unreadable},
        {"404 with JSON", Reply::http(404, accepting), Meaning::Unreadable},
        {"413", Reply::http(413, QByteArray()), Meaning::Unreadable},
        {"413 with JSON", Reply::http(413, accepting), Meaning::Unreadable},
        {"500", Reply::http(500, QByteArray()), Meaning::Unreadable},
        {"500 with JSON", Reply::http(500, accepting), Meaning::Unreadable},
        {"503", Reply::http(503, QByteArray()), Meaning::Unreadable},
        {"503 with JSON", Reply::http(503, accepting), Meaning::Unreadable},
        {"redirect", Reply::http(302, QByteArray(), {{"Location", "/elsewhere"}}), Meaning::Unreadable},
        {"redirect with JSON", Reply::http(302, accepting, {{"Location", "/elsewhere"}}), Meaning::Accepted},
        {"redirect with rejecting JSON", Reply::http(307, "{\"Code\":5}", {{"Location", "/elsewhere"}}),
         Meaning::Rejected},
        {"reset on connect", Reply::resetOnConnect(), Meaning::Unreadable},
        {"reset before the body", Reply::resetAfterHeaders(), Meaning::Unreadable},
        {"reset in the body", Reply::resetDuringBody(100), Meaning::Unreadable},
        {"reset after the body", Reply::resetAfterBody(), Meaning::Unreadable},
        {"close without answer", Reply::closeAfterBody(), Meaning::Unreadable},
        {"garbage", Reply::garbage(), Meaning::Unreadable},
        {"cut answer", Reply::cutAnswer(accepting), Meaning::Unreadable},
    };
    for (const auto &row : rows) {
        QTest::addRow("%s, ordinary", row.name) << row.answer << row.meaning << false;
        QTest::addRow("%s, SDK", row.name) << row.answer << row.meaning << true;
    }
}

void TestLogListAnswers::handlesTheAnswer()
{
    QFETCH(const Reply, answer);
    QFETCH(const Meaning, meaning);
    QFETCH(const bool, sdk);
    UploadScene scene({}, answer);
    QVERIFY(scene.isValid());
    const QString path = scene.addFile(QStringLiteral("first.log"), QByteArray(5000, 'x'));
    scene.addGroup(QStringLiteral("a_first"), path);
    uploadini::set(QStringLiteral("a_first/sdk"), sdk ? 1 : 0);
    // Several, so that the list is still under way when it is looked at.
    for (const char *group : {"b_next", "c", "d", "e", "f"})
        scene.addGroup(QLatin1String(group), scene.addFile(QLatin1String(group), "content"));

    const auto nextIsUnderWay = [&] {
        const auto replies = scene.uploader.findChildren<QNetworkReply *>();
        return replies.size() >= 2 && replies.at(1)->property("group") == QStringLiteral("b_next");
    };
    QCOMPARE(scene.run([&] { scene.uploader.uploadList(); }, nextIsUnderWay), RunEnd::Stopped);
    QCOMPARE(uploadini::groups().contains(QStringLiteral("a_first")), meaning != Meaning::Accepted);
    QCOMPARE(QFileInfo::exists(path), !sdk || meaning == Meaning::Unreadable);
}

void TestLogListAnswers::doesNotCountTwoTransmissionsOfOneBodyTwice()
{
    // Qt posts once more by itself when the service closes without an answer: whatever it does, the file is one upload.
    UploadScene scene({}, Reply::closeAfterBody());
    QVERIFY(scene.isValid());
    scene.addGroup(QStringLiteral("log1"), scene.addFile(QStringLiteral("a.log"), "content"));
    QCOMPARE(scene.run([&] { scene.uploader.uploadList(); }), RunEnd::Quit);
    QCOMPARE(scene.sentFileNames(), (QStringList{QStringLiteral("a.log"), scene.ownLogName()}));
    QCOMPARE(uploadini::groups(), QStringList{QStringLiteral("log1")});
}

void TestLogListAnswers::goesOnWithTheOwnLogWhenNobodyListens()
{
    UploadScene scene({}, Reply::resetOnConnect());
    QVERIFY(scene.isValid());
    for (const char *name : {"a", "b", "c"})
        scene.addGroup(QLatin1String(name), scene.addFile(QLatin1String(name), "content"));
    QCOMPARE(scene.run([&] { scene.uploader.uploadList(); }), RunEnd::Quit);
    QCOMPARE(scene.uploader.findChildren<QNetworkReply *>().size(), 4);
    QCOMPARE(uploadini::groups(), (QStringList{QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")}));
}

void TestLogListAnswers::keepsTheGroupOfAnSdkFileThatCannotBeDeleted()
{
    QString path;
    UploadScene scene({Reply::json("{\"Code\":5}").onRequest([&] { QFile::remove(path); })});
    QVERIFY(scene.isValid());
    path = scene.addFile(QStringLiteral("sdk.log"), "content");
    scene.addGroup(QStringLiteral("log1"), path);
    uploadini::set(QStringLiteral("log1/sdk"), 1);
    QCOMPARE(scene.run([&] { scene.uploader.uploadList(); }), RunEnd::Quit);
    QCOMPARE(uploadini::groups(), QStringList{QStringLiteral("log1")});
    QVERIFY(scene.lines().contains(QStringLiteral("onOneFile: false \"%1\"").arg(path)));
}

QTEST_GUILESS_MAIN(TestLogListAnswers)
#include "tst_loglistanswers.moc"
