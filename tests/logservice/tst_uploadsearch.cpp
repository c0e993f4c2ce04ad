#include "store/searchtext.h"
#include "store/uploadindex.h"
#include "storedscene.h"
#include "text/characters.h"

#include <QtTest/QtTest>

#include <map>
#include <random>

namespace {

IndexedUpload upload(int number, const char *kind, const nlohmann::json &fields)
{
    IndexedUpload made;
    made.id = *makeUploadId(std::uint64_t(number), kind);
    made.time = "2024-05-01T09:30:00Z";
    setFields(made, fields);
    return made;
}

} // namespace

class TestUploadSearch : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void findsByText_data();
    void findsByText();
    void findsByUser_data();
    void findsByUser();
    void findsByRoom_data();
    void findsByRoom();
    void combinesFilters();
    void findsWhatCameSince();
    void forgetsWhatIsRemoved();
    void findsPartsOfAnyText();
    void takesTextAsData_data();
    void takesTextAsData();
    void findsRoomsBeyondThoseThatAreListed();
    void listsShortWordsOfAnyBytes_data();
    void listsShortWordsOfAnyBytes();
    void folds_data();
    void folds();

private:
    void add(int number, const char *kind, const char *fields, const char *fileName = nullptr);
    QString found(const UploadQuery &query);

    QScopedPointer<StoredScene> scene_;
    QScopedPointer<UploadIndex> index_;
};

void TestUploadSearch::init()
{
    index_.reset();
    scene_.reset(new StoredScene);
    index_.reset(new UploadIndex(scene_->folder()));
    add(1, "logfile", R"({"room":"nickname-Ann.loginname-a17.userid-4711.roomid-12.roomname-Blue","namespace":"demo"})",
        "client.log");
    add(2, "logfile",
        R"({"room":"nickname-Zo\u00eb.loginname-z.userid-9.roomid-17.roomname-\u84dd\u8272\u623f\u95f4"})",
        "\xe6\x97\xa5\xe5\xbf\x97.log");
    add(3, "error", R"({"type":1005,"message":"no route to the media server","username":"zoe","namespace":"kavri"})");
    add(4, "crash", R"({"base":{"list":[null,true,{"name":"deep inside"}],"number":31337},"info":{}})", "a\"b'c.dmp");
    add(17, "logfile", R"({"room":"free \u0130stanbul text"})", "\xff.log");
}

void TestUploadSearch::add(int number, const char *kind, const char *fields, const char *fileName)
{
    const auto document = nlohmann::json::parse(fields);
    auto made = upload(number, kind, document);
    if (fileName)
        made.fileName = validUtf8(fileName);
    index_->add(made, document);
}

/// The numbers of what is found, newest first.
QString TestUploadSearch::found(const UploadQuery &query)
{
    QStringList numbers;
    const auto matches = index_->find(query);
    for (const auto &match : matches.uploads)
        numbers << QString::number(match.id.number);
    return matches.total == std::uint64_t(numbers.size()) ? numbers.join(QLatin1Char(' ')) : QStringLiteral("total?");
}

void TestUploadSearch::findsByText_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("numbers");
    const auto row = [](const char *text, const char *numbers) {
        QTest::newRow(text) << QString::fromUtf8(text) << QString::fromLatin1(numbers);
    };
    row("", "17 4 3 2 1");
    row(" \t\n", "17 4 3 2 1");
    row("ann", "1");
    row("ANN", "1");
    row("ZO\xc3\x8b", "3 2");
    row("zoe", "3 2");
    row("zo\xc3\xab", "3 2");
    row("zoe\xcc\x88", "3 2"); // decomposed
    row("oe", "3 2");
    row("\xc3\x8b", "17 4 3 2 1"); // every id has an e
    row("istanbul", "17");
    row("17", "17 2 1");
    row("000017-logfile", "17");
    row("000017", "17");
    row("log", "17 2 1");
    row("logfile demo", "1");
    row("demo logfile", "1");
    row("demo\xe3\x80\x80log", "1"); // an ideographic space
    row("zoe demo", "");
    row("a1 4711", "1");
    row("client.log", "1");
    row("lient.lo", "1");
    row("\xe8\x93\x9d\xe8\x89\xb2\xe6\x88\xbf\xe9\x97\xb4", "2");
    row("\xe8\x89\xb2\xe6\x88\xbf\xe9\x97\xb4", "2");
    row("\xe8\x89\xb2\xe6\x88\xbf", "2");
    row("\xe9\x97\xb4", "2");
    row("\xe9\x97\xb4 zoe", "2");
    row("\xe9\x97\xb4 \xe8\x93\x9d", "2");
    row("\xe8\x89\xb2\xe9\x97\xb4", "");
    row("\xe6\x97\xa5\xe5\xbf\x97", "2");
    row("blue", "1");
    row("12", "1");
    row("kavri", "3");
    row("media route", "3");
    row("1005", "3");
    row("1005:", "3");
    row("deep", "4");
    row("31337", "4");
    row("deep inside", "4");
    row("error", "3");
    row("username", "");
    row("\xef\xbf\xbd", "17");                        // what stands for bytes that are not UTF-8
    row("\xef\xbc\xa1\xef\xbd\x8e\xef\xbd\x8e", "1"); // of full width
}

void TestUploadSearch::findsByText()
{
    QFETCH(QString, text);
    UploadQuery query;
    query.text = text.toStdString();
    for (int i = 0; i < 2; ++i)
        QTEST(found(query), "numbers");
}

void TestUploadSearch::findsByUser_data()
{
    QTest::addColumn<QString>("user");
    QTest::addColumn<QString>("numbers");
    QTest::newRow("nickname") << QStringLiteral("zoe") << QStringLiteral("3 2");
    QTest::newRow("login name") << QStringLiteral("a17") << QStringLiteral("1");
    QTest::newRow("id") << QStringLiteral("471") << QStringLiteral("1");
    QTest::newRow("two words") << QStringLiteral("ann 4711") << QStringLiteral("1");
    QTest::newRow("short") << QStringLiteral("17") << QStringLiteral("1");
    QTest::newRow("one character") << QStringLiteral("9") << QStringLiteral("2");
    QTest::newRow("a room") << QStringLiteral("blue") << QString();
    QTest::newRow("a text that cannot be split") << QStringLiteral("free") << QStringLiteral("17");
}

void TestUploadSearch::findsByUser()
{
    QFETCH(QString, user);
    UploadQuery query;
    query.user = user.toStdString();
    QTEST(found(query), "numbers");
}

void TestUploadSearch::findsByRoom_data()
{
    QTest::addColumn<QString>("room");
    QTest::addColumn<QString>("numbers");
    QTest::newRow("id") << QStringLiteral("17") << QStringLiteral("2");
    QTest::newRow("name") << QStringLiteral("BLU") << QStringLiteral("1");
    QTest::newRow("a user") << QStringLiteral("ann") << QString();
    QTest::newRow("Chinese") << QString::fromUtf8("\xe8\x89\xb2") << QStringLiteral("2");
}

void TestUploadSearch::findsByRoom()
{
    QFETCH(QString, room);
    UploadQuery query;
    query.room = room.toStdString();
    QTEST(found(query), "numbers");
}

void TestUploadSearch::combinesFilters()
{
    UploadQuery query;
    query.user = "zoe";
    query.text = "log";
    QCOMPARE(found(query), QStringLiteral("2"));
    query.room = "17";
    QCOMPARE(found(query), QStringLiteral("2"));
    query.kind = "error";
    QCOMPARE(found(query), QString());
    query = {};
    query.user = "z";
    query.text = "media";
    QCOMPARE(found(query), QStringLiteral("3"));
    query.days = 9;
    QCOMPARE(int(index_->find(query).days.at(0).count), 1);
}

void TestUploadSearch::findsWhatCameSince()
{
    UploadQuery query;
    query.text = "zoe";
    QCOMPARE(found(query), QStringLiteral("3 2"));
    add(18, "error", R"({"username":"Zo\u00eb"})");
    add(19, "error", R"({"username":"Ann"})");
    QCOMPARE(found(query), QStringLiteral("18 3 2"));
}

void TestUploadSearch::forgetsWhatIsRemoved()
{
    UploadQuery query;
    query.text = "zoe";
    QCOMPARE(found(query), QStringLiteral("3 2"));
    index_->remove(*parseUploadId("000003-error"));
    index_->remove(*parseUploadId("000003-error"));
    QCOMPARE(found(query), QStringLiteral("2"));
    for (const char *text : {"1005", "no", "te", "zoe"}) {
        query.text = text;
        QVERIFY2(!found(query).contains(QLatin1Char('3')), text);
    }
    // The number of its row is not given to another one.
    index_->remove(*parseUploadId("000017-logfile"));
    query.text = "istanbul";
    QCOMPARE(found(query), QString());
    add(18, "error", "{}");
    QCOMPARE(found(query), QString());
}

/// Against the plain way to look for something.
void TestUploadSearch::findsPartsOfAnyText()
{
    std::mt19937 random(1);
    const auto randomText = [&random](int longest) {
        const std::vector<std::string> letters = {"a", "B", "1", "-", "\xc3\xab", "\xe8\x93\x9d", "\xe8\x89\xb2",
                                                  " ", "\""};
        std::string text;
        for (auto length = random() % unsigned(longest + 1); length > 0; --length)
            text += letters[random() % letters.size()];
        return text;
    };
    std::map<int, std::string> messages;
    for (int number = 100; number < 200; ++number) {
        messages[number] = randomText(12);
        const nlohmann::json fields = {{"message", messages[number]}};
        index_->add(upload(number, "x", {}), fields);
    }
    int hits = 0;
    for (int i = 0; i < 500; ++i) {
        UploadQuery query;
        query.text = randomText(5);
        query.kind = "x";
        query.limit = 1000;
        QStringList expected;
        for (auto message = messages.rbegin(); message != messages.rend(); ++message) {
            const auto text = folded(message->second + '\n' + makeUploadId(std::uint64_t(message->first), "x")->text);
            bool holdsAll = true;
            for (const auto &word : wordsOf(folded(query.text)))
                holdsAll = holdsAll && text.find(word) != std::string::npos;
            if (holdsAll)
                expected << QString::number(message->first);
        }
        hits += expected.size();
        QVERIFY2(found(query) == expected.join(QLatin1Char(' ')), query.text.c_str());
    }
    QVERIFY(hits > 1000);
}

void TestUploadSearch::takesTextAsData_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("numbers");
    QTest::newRow("quotation mark") << QByteArray("a\"b'c") << QStringLiteral("4");
    QTest::newRow("lone quotation mark") << QByteArray("\"") << QStringLiteral("4");
    QTest::newRow("three of them") << QByteArray("\"\"\"") << QString();
    QTest::newRow("operators") << QByteArray("ann OR zoe") << QString();
    QTest::newRow("not") << QByteArray("NOT zoe") << QString();
    QTest::newRow("column") << QByteArray("user:ann") << QString();
    QTest::newRow("prefix") << QByteArray("clien*") << QString();
    QTest::newRow("pattern") << QByteArray("%ient_log") << QString();
    QTest::newRow("brackets") << QByteArray("(ann) {x} ^ann") << QString();
    QTest::newRow("near") << QByteArray("NEAR(ann zoe)") << QString();
    QTest::newRow("end of a text") << QByteArray("ann\0zzz", 7) << QString();
    QTest::newRow("not UTF-8") << QByteArray("ann\xff\xc3") << QString();
    QTest::newRow("long") << QByteArray(10000, 'x') << QString();
    QTest::newRow("many words") << QByteArray("ann ").repeated(500) << QStringLiteral("1");
}

void TestUploadSearch::takesTextAsData()
{
    QFETCH(QByteArray, text);
    UploadQuery query;
    query.text = text.toStdString();
    QTEST(found(query), "numbers");
    query.user = query.room = query.text;
    found(query);
}

void TestUploadSearch::findsRoomsBeyondThoseThatAreListed()
{
    nlohmann::json rooms;
    for (int i = 1; i <= 150; ++i)
        rooms.push_back({{"room_sdk_id", std::to_string(5000 + i)}, {"room_name", "lounge" + std::to_string(i)}});
    const nlohmann::json fields = {{"base", nlohmann::json::object()}, {"info", {{"info", rooms}}}};
    index_->add(upload(20, "crash", fields), fields);
    UploadQuery query;
    for (const char *room : {"5150", "lounge150"}) {
        query.room = room;
        const auto matches = index_->find(query);
        QCOMPARE(int(matches.uploads.size()), 1);
        QCOMPARE(int(matches.uploads[0].rooms.size()), 100);
        QCOMPARE(matches.uploads[0].rooms.back().name, std::string("lounge100"));
    }
}

/// Those of a damaged table, too, which have to be taken out when their upload goes.
void TestUploadSearch::listsShortWordsOfAnyBytes_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("words");
    QTest::newRow("empty") << QByteArray() << QByteArray();
    QTest::newRow("words") << QByteArray("ab c") << QByteArray("61 6162 62 63 ");
    QTest::newRow("not UTF-8") << QByteArray("\xff\xfe") << QByteArray("fe ff ");
    QTest::newRow("within a word") << QByteArray("a\xff"
                                                 "b")
                                   << QByteArray("61 62 ff ff62 ");
    QTest::newRow("cut off") << QByteArray("a\xe8\x93") << QByteArray("61 93 e8 ");
}

void TestUploadSearch::listsShortWordsOfAnyBytes()
{
    QFETCH(QByteArray, text);
    QTEST(QByteArray::fromStdString(gramsOf(text.toStdString())), "words");
}

void TestUploadSearch::folds_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("ASCII") << QByteArray("A-z 09~") << QByteArray("a-z 09~");
    QTest::newRow("accents") << QByteArray("\xc3\x89\xc3\xa8\xc3\xb1") << QByteArray("een");
    QTest::newRow("sharp s") << QByteArray("Stra\xc3\x9f"
                                           "e")
                             << QByteArray("strasse");
    QTest::newRow("Greek") << QByteArray("\xce\xa3\xcf\x82") << QByteArray("\xcf\x83\xcf\x83");
    QTest::newRow("Chinese") << QByteArray("\xe8\x93\x9d") << QByteArray("\xe8\x93\x9d");
    QTest::newRow("blanks") << QByteArray("a\tb\nc\0d\xc2\xa0"
                                          "e",
                                          10)
                            << QByteArray("a b c d e");
    QTest::newRow("not UTF-8") << QByteArray("a\xff\xe8\x93") << QByteArray("a\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd");
    QTest::newRow("empty") << QByteArray() << QByteArray();
}

void TestUploadSearch::folds()
{
    QFETCH(QByteArray, text);
    QTEST(QByteArray::fromStdString(folded(text.toStdString())), "expected");
}

QTEST_GUILESS_MAIN(TestUploadSearch)
#include "tst_uploadsearch.moc"
