#include "servicetest.h"
#include "support/files/fileio.h"
#include "support/wire/endpoints.h"
#include "support/wire/multipartform.h"

#include <QtCore/QCryptographicHash>
#include <QtTest/QtTest>

#include <unistd.h>

namespace {

const char kErrorDocument[] = "{\"message\":\"codec "
                              "failed\",\"namespace\":\"kavri\",\"room_sdk_id\":\"7\",\"sdk\":\"5\",\"type\":3,\"user_"
                              "id\":\"42\",\"username\":\"Zo\\u00eb\"}";

QByteArray sha256(const QByteArray &bytes)
{
    return QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex();
}

QStringList idsOf(const QByteArray &answer)
{
    QStringList ids;
    const QJsonObject document = QJsonDocument::fromJson(answer).object();
    for (const QJsonValue &upload : document.value(QStringLiteral("uploads")).toArray())
        ids << upload.toObject().value(QStringLiteral("id")).toString();
    return ids;
}

} // namespace

/// Searches by people and by machines, which have the same parameters.
class TestUploadQueries : public ServiceTest
{
    Q_OBJECT

private slots:
    void findsMatchesHoweverManyAreStored();
    void findsWordsInEitherLetterCase_data();
    void findsWordsInEitherLetterCase();
    void leadsBackToNewerUploads();
    void leadsBackFromBehindTheOldest();
    void tellsErrorReportsApart();
    void refusesWhatMakesNoSense_data();
    void refusesWhatMakesNoSense();
    void answersAsTheDescriptionShows();
    void filtersByEachParameter_data();
    void filtersByEachParameter();
    void pagesThroughAll();
    void guardsAnswersForMachines();

private:
    RawAnswer get(const QByteArray &target)
    {
        return RawClient::ask(service().port(), "GET " + target + " HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n");
    }
    /// Writes the record of an upload as it is stored.
    bool store(const QString &id, const QByteArray &record, const QByteArray &bytes = "bytes")
    {
        const QString content =
            id.endsWith(QLatin1String("error")) ? QStringLiteral("/error.json") : QStringLiteral("/file.bin");
        return QDir(folder()).mkdir(id) && writeFile(stored(id + QStringLiteral("/upload.json")), record) &&
               writeFile(stored(id + content), bytes);
    }
    bool storeLog(const QString &id, const QByteArray &time, const QByteArray &room, const QByteArray &name)
    {
        return store(id, "{\"time\":\"" + time + "\",\"kind\":\"logfile\",\"fileName\":\"" + name +
                             "\",\"size\":5,\"sha256\":\"" + sha256("bytes") + "\",\"fields\":{\"room\":\"" + room +
                             "\",\"namespace\":\"demo\"}}");
    }
    bool storeExamples()
    {
        return storeLog(QStringLiteral("000001-logfile"), "2026-11-20T23:59:59Z",
                        "nickname-Ann.loginname-a1.userid-7.roomid-12.roomname-Blue", "call 7.log") &&
               storeLog(QStringLiteral("000002-logfile"), "2026-11-21T00:00:00Z",
                        "nickname-Zo\xc3\xab.userid-42.roomid-9.roomname-\xe4\xbc\x9a\xe8\xad\xb0\xe5\xae\xa4",
                        "a.log") &&
               store(
                   QStringLiteral("000003-error"),
                   QByteArray("{\"time\":\"2026-11-22T09:30:00Z\",\"kind\":\"error\",\"fileName\":null,\"sha256\":\"") +
                       sha256(kErrorDocument) + "\",\"fields\":" + kErrorDocument + "}",
                   kErrorDocument);
    }
    /// Has the service look at the folder again.
    bool restart() { return service().stop() == 0 && service().start(LogServiceProcess::onFreePorts(folder())); }
};

void TestUploadQueries::findsMatchesHoweverManyAreStored()
{
    constexpr int kNeedles = 27;
    constexpr int kStored = 6000;
    QVERIFY(storeLog(QStringLiteral("000001-logfile"), "2026-11-20T09:30:00Z", "nickname-needle.", "a.log"));
    QVERIFY(storeLog(QStringLiteral("006000-logfile"), "2026-11-20T09:30:00Z", "nickname-hay.", "a.log"));
    for (int i = 2; i < kStored; ++i) {
        const QString id = QStringLiteral("%1-logfile").arg(i, 6, 10, QLatin1Char('0'));
        const QString original = i <= kNeedles ? QStringLiteral("000001-logfile") : QStringLiteral("006000-logfile");
        QVERIFY(QDir(folder()).mkdir(id));
        QCOMPARE(::link(QFile::encodeName(stored(original + QStringLiteral("/upload.json"))).constData(),
                        QFile::encodeName(stored(id + QStringLiteral("/upload.json"))).constData()),
                 0);
    }
    QVERIFY(restart());
    const RawAnswer page = get("/?text=needle");
    QVERIFY2(page.body.contains("27 matches among 6000 uploads, 1 to 27, newest first."), page.body.constData());
    QCOMPARE(page.body.count("<tr id="), kNeedles);
}

void TestUploadQueries::findsWordsInEitherLetterCase_data()
{
    QTest::addColumn<QByteArray>("query");
    QTest::addColumn<QByteArray>("id");
    QTest::newRow("capitals, not ASCII") << QByteArray("text=ZO%C3%8B&kind=logfile") << QByteArray("000002-logfile");
    QTest::newRow("user in capitals") << QByteArray("user=ZO%C3%8B&kind=logfile") << QByteArray("000002-logfile");
    QTest::newRow("without the accent") << QByteArray("user=zoe&kind=logfile") << QByteArray("000002-logfile");
    QTest::newRow("two words") << QByteArray("text=blue+ann") << QByteArray("000001-logfile");
    QTest::newRow("number of the upload") << QByteArray("text=000002") << QByteArray("000002-logfile");
    QTest::newRow("id as the page shows it") << QByteArray("text=000001-logfile") << QByteArray("000001-logfile");
    QTest::newRow("Chinese") << QByteArray("room=%E8%AD%B0") << QByteArray("000002-logfile");
}

void TestUploadQueries::findsWordsInEitherLetterCase()
{
    QFETCH(QByteArray, query);
    QFETCH(QByteArray, id);
    QVERIFY(storeExamples());
    QVERIFY(restart());
    const RawAnswer page = get("/?" + query);
    QCOMPARE(page.body.count("<tr id="), 1);
    QVERIFY(page.body.contains("<tr id=\"" + id));
}

void TestUploadQueries::leadsBackToNewerUploads()
{
    QVERIFY(storeExamples());
    QVERIFY(restart());
    QVERIFY(!get("/").body.contains("Newer uploads"));
    const RawAnswer older = get("/?limit=1&before=000003-error");
    QCOMPARE(older.status, 200);
    QVERIFY2(older.body.contains("3 uploads, 2 to 2, newest first."), older.body.constData());
    QVERIFY(older.body.contains("<a href=\"/?after=000002-logfile&amp;limit=1\">Newer uploads</a>"));
    QVERIFY(older.body.contains("<a href=\"/?before=000002-logfile&amp;limit=1\">Older uploads</a>"));
    const RawAnswer newer = get("/?limit=1&after=000002-logfile");
    QVERIFY(newer.body.contains("<tr id=\"000003-error\">"));
    QVERIFY(newer.body.contains("1 to 1"));
}

void TestUploadQueries::leadsBackFromBehindTheOldest()
{
    QVERIFY(storeExamples());
    QVERIFY(restart());
    for (const char *query : {"before=000001-logfile", "before=0-a", "kind=error&before=000002-logfile"}) {
        const QByteArray page = get(QByteArray("/?limit=1&") + query).body;
        QVERIFY2(page.contains("No upload matches."), page.constData());
        const int link = page.indexOf("\">Newer uploads</a>");
        QVERIFY2(link > 0, page.constData());
        const QByteArray target = page.left(link).mid(page.lastIndexOf('"', link - 1) + 1).replace("&amp;", "&");
        const QByteArray nearest = get(target).body;
        const bool isFiltered = QByteArray(query).startsWith("kind");
        QVERIFY2(nearest.contains(isFiltered ? "<tr id=\"000003-error\">" : "<tr id=\"000001-logfile\">"),
                 nearest.constData());
        QVERIFY(!nearest.contains("Older uploads"));
    }
    QVERIFY(!get("/?text=nothing").body.contains("Newer uploads"));
}

void TestUploadQueries::tellsErrorReportsApart()
{
    QVERIFY(storeExamples());
    QVERIFY(restart());
    QVERIFY(get("/?kind=error").body.contains("codec failed"));
}

void TestUploadQueries::refusesWhatMakesNoSense_data()
{
    QTest::addColumn<QByteArray>("query");
    QTest::addColumn<QByteArray>("reason");
    const auto add = [](const char *query, const char *reason) {
        QTest::newRow(query) << QByteArray(query) << QByteArray(reason);
    };
    add("kind=xyz", "kind=\"xyz\" is not one of crash logfile producer uploadrequest error report");
    add("kind=<script>", "kind=\"<script>\" is not one of");
    add("kind=%zz", "kind=\"%zz\" is not one of");
    add("before=../../etc", "before=\"../../etc\" is not the id of an upload");
    add("since=2026-11-22T09:30:00ZZ", "since=\"2026-11-22T09:30:00ZZ\" is not a day");
    add("before=7", "before=\"7\" is not the id of an upload");
    add("limit=0", "limit=\"0\" is not a number from 1 to 500");
    add("limit=501", "limit=\"501\" is not a number from 1 to 500");
    add("limit=-1", "limit=\"-1\" is not a number");
    add("limit=5x", "limit=\"5x\" is not a number");
    add("limit=99999999999999999999", "limit=\"99999999999999999999\" is not a number");
    for (const char *name : {"since", "until"}) {
        for (const char *value :
             {"yesterday", "2026-11-31", "2026-11-2", "2026-11-22Z", "2026-11-22T24:00", "2026-11-22T9:30",
              "2026-11-22T09", "2026-11-22T09:30:00+01:00", "2026-11-22%2009:30", "2026-11-22T09:30ZZ"}) {
            const QByteArray query = QByteArray(name) + "=" + value;
            QTest::newRow(query.constData()) << query << QByteArray(name) + "=\"";
        }
    }
    add("colour=red", "there is no parameter \"colour\"");
    add("Kind=crash", "there is no parameter \"Kind\"");
    add("kind=&kind=error", "kind is there more than once");
    QTest::newRow("long") << "text=" + QByteArray(201, 'x') << QByteArray("text is longer than 200 bytes");
    QTest::newRow("many") << QByteArray("a=b&").repeated(2000) << QByteArray("there is no parameter \"a\"");
}

void TestUploadQueries::refusesWhatMakesNoSense()
{
    QFETCH(QByteArray, query);
    QFETCH(QByteArray, reason);
    for (const char *path : {"/?", "/api/uploads?"}) {
        const RawAnswer answer = get(path + query);
        QCOMPARE(answer.status, 400);
        QVERIFY2(answer.body.startsWith(reason), answer.body.constData());
        QVERIFY(answer.head.contains("\r\nContent-Type: text/plain; charset=utf-8\r\n"));
    }
}

/// The example in the description is this answer.
void TestUploadQueries::answersAsTheDescriptionShows()
{
    QVERIFY(storeExamples());
    QVERIFY(restart());
    const QByteArray description = readFile(QStringLiteral(KX_OPENAPI));
    const QByteArray beginning = "              example:\n                {\n";
    const QByteArray end = "\n                }\n";
    const int begin = description.indexOf(beginning) + beginning.size() - 2;
    const QByteArray example = description.mid(begin, description.indexOf(end, begin) + end.size() - begin);
    QJsonParseError error{};
    const QJsonDocument expected = QJsonDocument::fromJson(example, &error);
    QVERIFY2(expected.isObject(), qPrintable(error.errorString()));

    const RawAnswer answer = get("/api/uploads?limit=2");
    QCOMPARE(answer.status, 200);
    QVERIFY(answer.head.contains("\r\nContent-Type: application/json\r\n"));
    QCOMPARE(QJsonDocument::fromJson(answer.body), expected);
}

void TestUploadQueries::filtersByEachParameter_data()
{
    QTest::addColumn<QByteArray>("query");
    QTest::addColumn<QString>("numbers");
    const auto add = [](const char *query, const char *numbers) {
        QTest::newRow(query) << QByteArray(query) << QString::fromLatin1(numbers);
    };
    add("", "321");
    add("user=&room=&kind=&since=&until=&text=&limit=&before=", "321");
    add("kind=logfile", "21");
    add("user=a1", "1");
    add("user=call", "");
    add("room=7", "3");
    add("room=blue", "1");
    add("text=codec", "3");
    add("text=call", "1");
    add("since=2026-11-21", "32");
    add("until=2026-11-21", "21");
    add("since=2026-11-21&until=2026-11-21", "2");
    add("since=2026-11-20T23:59:59", "321");
    add("since=2026-11-20T23:59:59Z&until=2026-11-20T23:59", "1");
    add("since=2026-11-22T09:30Z", "3");
    add("since=2026-11-22T09:30:01", "");
    add("until=2026-11-22T09:29", "21");
    add("before=000002-logfile", "1");
    add("limit=1", "3");
    add("kind=logfile&text=zoe", "2");
}

void TestUploadQueries::filtersByEachParameter()
{
    QFETCH(QByteArray, query);
    QFETCH(QString, numbers);
    QVERIFY(storeExamples());
    QVERIFY(restart());
    QString found;
    for (const QString &id : idsOf(get("/api/uploads?" + query).body))
        found += id.at(5);
    QCOMPARE(found, numbers);
}

void TestUploadQueries::pagesThroughAll()
{
    QVERIFY(storeExamples());
    QVERIFY(restart());
    QStringList ids;
    QByteArray next;
    do {
        const RawAnswer answer = get("/api/uploads?limit=1" + (next.isEmpty() ? next : "&before=" + next));
        const QJsonObject document = QJsonDocument::fromJson(answer.body).object();
        QCOMPARE(document.value(QStringLiteral("total")).toInt(), 3);
        ids << idsOf(answer.body);
        next = document.value(QStringLiteral("next")).toString().toLatin1();
    } while (!next.isEmpty() && ids.size() < 4);
    QCOMPARE(ids, (QStringList{QStringLiteral("000003-error"), QStringLiteral("000002-logfile"),
                               QStringLiteral("000001-logfile")}));
}

void TestUploadQueries::guardsAnswersForMachines()
{
    const RawAnswer answer = get("/api/uploads");
    QCOMPARE(answer.body, QByteArray("{\"total\":0,\"uploads\":[],\"next\":null}\n"));
    for (const char *line :
         {"Content-Security-Policy: default-src 'none'", "X-Content-Type-Options: nosniff",
          "Cross-Origin-Resource-Policy: same-origin", "Referrer-Policy: no-referrer", "Cache-Control: no-store"})
        QVERIFY2(answer.head.contains(QByteArray("\r\n") + line + "\r\n"), answer.head.constData());
    QVERIFY(!answer.head.contains("Access-Control"));
    const RawAnswer foreign =
        RawClient::ask(service().port(), "GET /api/uploads HTTP/1.1\r\nHost: example.com\r\n\r\n");
    QCOMPARE(foreign.status, 403);
}

QTEST_GUILESS_MAIN(TestUploadQueries)
#include "tst_uploadqueries.moc"
