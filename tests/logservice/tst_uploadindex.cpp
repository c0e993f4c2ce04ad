#include "store/uploadindex.h"
#include "storedscene.h"

#include <QtTest/QtTest>

#include <thread>

#include <sys/stat.h>
#include <unistd.h>

namespace {

const QString kIndex = QStringLiteral(".index.sqlite");

QString numbered(int number, const char *kind = "logfile")
{
    return QStringLiteral("%1-%2").arg(number, 6, 10, QLatin1Char('0')).arg(QLatin1String(kind));
}

QStringList ids(const UploadMatches &matches)
{
    QStringList names;
    for (const auto &upload : matches.uploads)
        names << QString::fromStdString(upload.id.text);
    return names;
}

QStringList indexed(const StoredScene &scene)
{
    return ids(UploadIndex(scene.folder()).find(UploadQuery()));
}

/// What a new index knows of the upload 000001-logfile.
IndexedUpload onlyUpload(const StoredScene &scene, const char *id = "000001-logfile")
{
    return UploadIndex(scene.folder()).find(*parseUploadId(id)).value_or(IndexedUpload());
}

UploadMatches search(const UploadIndex &index, const char *text)
{
    UploadQuery query;
    query.text = text;
    return index.find(query);
}

IndexedUpload upload(int number, const char *time = "2024-05-01T09:30:00Z", const char *kind = "logfile")
{
    IndexedUpload made;
    made.id = *makeUploadId(std::uint64_t(number), kind);
    made.time = time;
    return made;
}

} // namespace

class TestUploadIndex : public QObject
{
    Q_OBJECT

private slots:
    void listsNewestFirst();
    void readsWhatIsKnown();
    void readsWhatErrorsAndReportsTell();
    void keepsWhatIsAdded();
    void pagesThroughAllAndBack();
    void filtersByKindAndTime();
    void countsByDay();
    void leavesOutWhatIsNoUpload();
    void followsNoLinks();
    void waitsForNoPipe();
    void survivesDamagedRecords_data();
    void survivesDamagedRecords();
    void knowsWhatALargeRecordIs_data();
    void knowsWhatALargeRecordIs();
    void knowsWhoSentALongReport_data();
    void knowsWhoSentALongReport();
    void noticesWhatCameAndWentMeanwhile();
    void isMadeAnewWhenItCannotBeRead_data();
    void isMadeAnewWhenItCannotBeRead();
    void isMadeAnewWhenItIsFoundDamagedLater();
    void followsNoLinkInItsOwnPlace();
    void takesUploadsOfSeveralThreadsWhileItIsSearched();
};

void TestUploadIndex::listsNewestFirst()
{
    const StoredScene scene;
    for (const QString &id : {numbered(2, "crash"), numbered(10), numbered(1), QStringLiteral("1000000-report"),
                              QStringLiteral("2-error"), numbered(2, "error")})
        QVERIFY(QDir(scene.path()).mkdir(id));
    QCOMPARE(indexed(scene), (QStringList{QStringLiteral("1000000-report"), numbered(10), QStringLiteral("2-error"),
                                          numbered(2, "error"), numbered(2, "crash"), numbered(1)}));
}

void TestUploadIndex::readsWhatIsKnown()
{
    const StoredScene scene;
    QVERIFY(
        scene.addLog(numbered(1), "nickname-ann.loginname-a1.userid-7.roomid-12.roomname-Blue", "a.log", "1234567"));
    const auto upload = onlyUpload(scene);
    QCOMPARE(int(upload.id.number), 1);
    QCOMPARE(upload.id.kind, std::string("logfile"));
    QCOMPARE(upload.id.text, std::string("000001-logfile"));
    QCOMPARE(upload.time, std::string("2024-05-01T09:30:00Z"));
    QCOMPARE(upload.nickname, std::string("ann"));
    QCOMPARE(upload.loginName, std::string("a1"));
    QCOMPARE(upload.userId, std::string("7"));
    QCOMPARE(int(upload.rooms.size()), 1);
    QCOMPARE(upload.rooms[0].id, std::string("12"));
    QCOMPARE(upload.rooms[0].name, std::string("Blue"));
    QCOMPARE(upload.nameSpace, std::string("demo"));
    QCOMPARE(upload.fileName.value_or("none"), std::string("a.log"));
    QCOMPARE(upload.contentName, std::string("file.bin"));
    // What is on the disk, not what the record claims.
    QCOMPARE(int(upload.bytes.value_or(0)), 7);
    QCOMPARE(upload.sha256, std::string());
    QCOMPARE(upload.message, std::string());
}

void TestUploadIndex::readsWhatErrorsAndReportsTell()
{
    const StoredScene scene;
    QVERIFY(scene.write(QStringLiteral("000001-error/upload.json"),
                        R"({"fields":{"type":1005,"message":"no\nroute","username":"Zo\u00eb","room_sdk_id":"9"}})"));
    QVERIFY(scene.write(QStringLiteral("000001-error/error.json"), "{}"));
    QVERIFY(scene.write(QStringLiteral("000002-report/upload.json"),
                        R"({"fields":{"LogTitle":"kx_error","LogData":"[a.cpp] lost","UserSid":"7"}})"));
    const auto error = onlyUpload(scene, "000001-error");
    QCOMPARE(error.message, std::string("1005: no route"));
    QCOMPARE(error.nickname, std::string("Zo\xc3\xab"));
    QCOMPARE(error.rooms.at(0).id, std::string("9"));
    QCOMPARE(error.contentName, std::string("error.json"));
    QCOMPARE(onlyUpload(scene, "000002-report").message, std::string("kx_error: [a.cpp] lost"));
}

void TestUploadIndex::keepsWhatIsAdded()
{
    const StoredScene scene;
    QVERIFY(QDir(scene.path()).mkdir(numbered(1)));
    auto added = upload(2);
    added.sha256 = "ab";
    added.rooms = {{"12", "Blue"}};
    added.unsplit = std::string(5000, 'x');
    {
        UploadIndex index(scene.folder());
        QVERIFY(QDir(scene.path()).mkdir(numbered(2)));
        index.add(added, {});
        QCOMPARE(ids(index.find(UploadQuery())), (QStringList{numbered(2), numbered(1)}));
        QCOMPARE(int(index.storedCount()), 2);
    }
    const UploadIndex index(scene.folder());
    const auto found = index.find(added.id);
    QVERIFY(found.has_value());
    QCOMPARE(found->sha256, added.sha256); // which its folder does not tell
    QCOMPARE(found->rooms.at(0).name, added.rooms[0].name);
    QCOMPARE(found->unsplit, std::string(1024, 'x'));
    QVERIFY(!found->bytes);
    QVERIFY(!found->fileName);
}

void TestUploadIndex::pagesThroughAllAndBack()
{
    const StoredScene scene;
    UploadIndex index(scene.folder());
    for (int i = 1; i <= 7; ++i)
        index.add(upload(i), {});
    UploadQuery query;
    query.limit = 3;
    const QVector<QStringList> pages = {
        {numbered(7), numbered(6), numbered(5)}, {numbered(4), numbered(3), numbered(2)}, {numbered(1)}};
    UploadMatches matches;
    for (int i = 0; i < pages.size(); ++i) {
        matches = index.find(query);
        QCOMPARE(ids(matches), pages[i]);
        QCOMPARE(int(matches.total), 7);
        QCOMPARE(matches.newer.has_value(), i > 0);
        QCOMPARE(matches.older.has_value(), i < 2);
        query.before = matches.older;
    }
    query.before.reset();
    query.after = matches.newer;
    matches = index.find(query);
    QCOMPARE(ids(matches), pages[1]);
    QVERIFY(matches.older.has_value());
    query.after = matches.newer;
    matches = index.find(query);
    QCOMPARE(ids(matches), pages[0]);
    QVERIFY(!matches.newer);
    query.after = parseUploadId("000007-logfile");
    QCOMPARE(ids(index.find(query)), QStringList());
    // An upload that is there no more still says where to go on.
    index.remove(*parseUploadId("000004-logfile"));
    query.after = parseUploadId("000004-logfile");
    QCOMPARE(ids(index.find(query)), pages[0]);
    QCOMPARE(int(index.find(query).total), 6);
}

void TestUploadIndex::filtersByKindAndTime()
{
    const StoredScene scene;
    UploadIndex index(scene.folder());
    index.add(upload(1, "2024-04-30T23:59:59Z"), {});
    index.add(upload(2, "2024-05-01T00:00:00Z", "crash"), {});
    index.add(upload(3, "2024-05-02T00:00:00Z"), {});
    index.add(upload(4, ""), {});
    UploadQuery query;
    query.kind = "crash";
    QCOMPARE(ids(index.find(query)), QStringList(numbered(2, "crash")));
    query.kind = "report";
    QCOMPARE(ids(index.find(query)), QStringList());
    query.kind.clear();
    query.since = "2024-05-01T00:00:00Z";
    QCOMPARE(ids(index.find(query)), (QStringList{numbered(3), numbered(2, "crash")}));
    query.until = "2024-05-01T23:59:59Z";
    QCOMPARE(ids(index.find(query)), QStringList(numbered(2, "crash")));
    query.since.clear();
    query.kind = "logfile";
    QCOMPARE(ids(index.find(query)), QStringList(numbered(1)));
    QCOMPARE(int(index.find(query).total), 1);
}

void TestUploadIndex::countsByDay()
{
    const StoredScene scene;
    UploadIndex index(scene.folder());
    index.add(upload(1, "2024-04-29T09:00:00Z"), {});
    index.add(upload(2, "2024-04-30T09:00:00Z"), {});
    index.add(upload(3, "2024-05-01T10:00:00Z"), {});
    index.add(upload(4, "2024-05-01T11:00:00Z"), {});
    index.add(upload(5, "2024-05-01T12:00:00Z", "crash"), {});
    index.add(upload(6, ""), {});
    QStringList counts;
    for (const auto &count : index.countsByDay({}, 2))
        counts << QString::fromStdString(count.day + ' ' + count.kind) + QLatin1Char(' ') +
                      QString::number(count.count);
    QCOMPARE(counts, (QStringList{QStringLiteral("2024-04-30 logfile 1"), QStringLiteral("2024-05-01 crash 1"),
                                  QStringLiteral("2024-05-01 logfile 2")}));
    UploadQuery query;
    query.kind = "crash";
    QCOMPARE(int(index.countsByDay(query, 9).size()), 1);
}

void TestUploadIndex::leavesOutWhatIsNoUpload()
{
    const StoredScene scene;
    QVERIFY(scene.addLog(numbered(1), "x", "a.log"));
    for (const char *name : {".incoming-1", "000002-<b>", "notes", "000003-Log", "-logfile"})
        QVERIFY(QDir(scene.path()).mkdir(QLatin1String(name)));
    QVERIFY(scene.write(numbered(4), "a file"));
    QVERIFY(scene.write(QStringLiteral(".lock"), ""));
    QCOMPARE(indexed(scene), QStringList(numbered(1)));
}

void TestUploadIndex::followsNoLinks()
{
    const StoredScene secret;
    QVERIFY(secret.addLog(numbered(1), "secret", "secret.log"));
    const StoredScene scene;
    // The upload itself, and each file of another one.
    QVERIFY(QFile::link(secret.path(numbered(1)), scene.path(numbered(1))));
    QVERIFY(QDir(scene.path()).mkdir(numbered(2)));
    for (const char *name : {"/upload.json", "/file.bin"})
        QVERIFY(
            QFile::link(secret.path(numbered(1) + QLatin1String(name)), scene.path(numbered(2) + QLatin1String(name))));
    QCOMPARE(indexed(scene), QStringList(numbered(2)));
    const auto upload = onlyUpload(scene, "000002-logfile");
    QVERIFY(!upload.bytes);
    QVERIFY(!upload.fileName);
    QVERIFY(upload.unsplit.empty());
}

void TestUploadIndex::waitsForNoPipe()
{
    const StoredScene scene;
    QVERIFY(QDir(scene.path()).mkdir(numbered(1)));
    for (const char *name : {"/upload.json", "/file.bin"})
        QCOMPARE(::mkfifo(QFile::encodeName(scene.path(numbered(1) + QLatin1String(name))).constData(), 0600), 0);
    const auto upload = onlyUpload(scene);
    QCOMPARE(upload.id.text, std::string("000001-logfile"));
    QVERIFY(!upload.bytes);
}

void TestUploadIndex::survivesDamagedRecords_data()
{
    QTest::addColumn<QByteArray>("record");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("text") << QByteArray("hello");
    QTest::newRow("array") << QByteArray("[1]");
    QTest::newRow("cut off") << QByteArray("{\"time\":\"2024");
    QTest::newRow("no members") << QByteArray("{}");
    QTest::newRow("other types") << QByteArray("{\"time\":[],\"fileName\":[],\"sha256\":{},\"fields\":\"y\"}");
    QTest::newRow("nulls") << QByteArray("{\"time\":null,\"fileName\":null,\"sha256\":null,\"fields\":null}");
    QTest::newRow("not UTF-8") << QByteArray("{\"fileName\":\"\xff\"}");
    QTest::newRow("deep") << "{\"fields\":{\"a\":" + QByteArray(500000, '[') + QByteArray(500000, ']') + "}}";
    QTest::newRow("large") << QByteArray(2000000, 'x');
}

void TestUploadIndex::survivesDamagedRecords()
{
    QFETCH(QByteArray, record);
    const StoredScene scene;
    QVERIFY(scene.write(QStringLiteral("000001-logfile/upload.json"), record));
    QVERIFY(scene.write(QStringLiteral("000001-logfile/file.bin"), "bytes"));
    const auto upload = onlyUpload(scene);
    QCOMPARE(upload.id.text, std::string("000001-logfile"));
    QCOMPARE(upload.time, std::string());
    QVERIFY(!upload.fileName);
    QCOMPARE(int(upload.bytes.value_or(0)), 5);
}

void TestUploadIndex::knowsWhatALargeRecordIs_data()
{
    QTest::addColumn<QByteArray>("record");
    const QByteArray large(33 * 1024 * 1024, 'x');
    QTest::newRow("compact") << R"({"time":"2024-05-01T09:30:00Z","fileName":"\"fields\":.log","fields":{"room":")" +
                                    large + "\"}}";
    // As earlier versions have written it.
    QTest::newRow("indented") << "{\n  \"time\": \"2024-05-01T09:30:00Z\",\n"
                                 "  \"fileName\": \"\\\"fields\\\":.log\",\n  \"fields\": {\n    \"room\": \"" +
                                     large + "\"\n  }\n}\n";
}

void TestUploadIndex::knowsWhatALargeRecordIs()
{
    QFETCH(QByteArray, record);
    const StoredScene scene;
    QVERIFY(scene.write(QStringLiteral("000001-logfile/upload.json"), record));
    const auto upload = onlyUpload(scene);
    QCOMPARE(upload.time, std::string("2024-05-01T09:30:00Z"));
    QCOMPARE(upload.fileName.value_or("none"), std::string("\"fields\":.log"));
}

void TestUploadIndex::knowsWhoSentALongReport_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::newRow("long text") << '"' + QByteArray(3000000, 'x') + '"';
    // As many as two documents of a crash may hold.
    QTest::newRow("many values") << '[' + QByteArray("0,").repeated(300000) + "0]";
}

void TestUploadIndex::knowsWhoSentALongReport()
{
    QFETCH(QByteArray, data);
    const StoredScene scene;
    QVERIFY(scene.write(QStringLiteral("000001-report/upload.json"),
                        R"({"time":"2024-05-01T09:30:00Z","fields":{"RoomId":"12","UserSid":"u7","LogData":)" + data +
                            "}}"));
    const auto upload = onlyUpload(scene, "000001-report");
    QCOMPARE(upload.userId, std::string("u7"));
    QCOMPARE(int(upload.rooms.size()), 1);
}

void TestUploadIndex::noticesWhatCameAndWentMeanwhile()
{
    const StoredScene scene;
    for (int number : {2, 3, 5})
        QVERIFY(scene.addLog(numbered(number), "nickname-ann.", "a.log"));
    QCOMPARE(indexed(scene), (QStringList{numbered(5), numbered(3), numbered(2)}));
    QVERIFY(QDir(scene.path(numbered(3))).removeRecursively());
    for (int number : {1, 4, 6})
        QVERIFY(scene.addLog(numbered(number), "nickname-zoe.", "b.log"));
    const QStringList expected = {numbered(6), numbered(5), numbered(4), numbered(2), numbered(1)};
    QCOMPARE(indexed(scene), expected);
    const UploadIndex index(scene.folder());
    QCOMPARE(ids(search(index, "zoe")), (QStringList{numbered(6), numbered(4), numbered(1)}));
    QCOMPARE(ids(search(index, "ann")), (QStringList{numbered(5), numbered(2)}));
    QCOMPARE(ids(search(index, "an")), (QStringList{numbered(5), numbered(2)}));
}

void TestUploadIndex::isMadeAnewWhenItCannotBeRead_data()
{
    QTest::addColumn<int>("offset");
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("no database") << 0 << QByteArray("not what it was");
    QTest::newRow("another version") << 60 << QByteArray("\0\0\0\x63", 4);  // user_version
    QTest::newRow("of somebody else") << 68 << QByteArray("\0\0\0\x63", 4); // application_id
    QTest::newRow("damaged tables") << 200 << QByteArray(3800, '\x55');
}

void TestUploadIndex::isMadeAnewWhenItCannotBeRead()
{
    QFETCH(int, offset);
    QFETCH(QByteArray, bytes);
    const StoredScene scene;
    QVERIFY(scene.addLog(numbered(1), "nickname-ann.", "a.log"));
    QCOMPARE(indexed(scene), QStringList(numbered(1)));
    // So that a row which is not from the folder would be seen.
    QVERIFY(scene.addLog(numbered(1), "nickname-zoe.", "b.log"));
    QCOMPARE(onlyUpload(scene).nickname, std::string("ann"));
    QFile file(scene.path(kIndex));
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(file.seek(offset));
    QCOMPARE(file.write(bytes), qint64(bytes.size()));
    file.close();
    for (int i = 0; i < 2; ++i)
        QCOMPARE(onlyUpload(scene).nickname, std::string("zoe"));
    QCOMPARE(ids(search(UploadIndex(scene.folder()), "zoe")), QStringList(numbered(1)));
}

/// Damage within the lists of words is not seen at the start, which does not read them.
void TestUploadIndex::isMadeAnewWhenItIsFoundDamagedLater()
{
    const StoredScene scene;
    for (int i = 1; i <= 300; ++i)
        QVERIFY(scene.addLog(numbered(i), "nickname-ann" + QByteArray::number(i) + '.', "a.log"));
    QCOMPARE(indexed(scene).size(), 50);
    QFile file(scene.path(kIndex));
    QVERIFY(file.open(QIODevice::ReadWrite));
    QByteArray bytes = file.readAll();
    const int page = 4096;
    int damaged = 0;
    // Pages of tables that hold texts of the lists are what is left when the keys are spared.
    for (int begin = page; begin + page <= bytes.size(); begin += page) {
        if (!bytes.mid(begin, page).contains("000001-logfile") && !bytes.mid(begin, page).contains("000300-logfile") &&
            bytes.mid(begin, page).contains("nn2")) {
            bytes.replace(begin, page, QByteArray(page, '\x55'));
            ++damaged;
        }
    }
    QVERIFY(damaged > 0);
    QVERIFY(file.seek(0));
    QCOMPARE(file.write(bytes), qint64(bytes.size()));
    file.close();
    const UploadIndex index(scene.folder());
    QCOMPARE(int(search(index, "ann").total), 300);
    QCOMPARE(ids(search(index, "ann299")), QStringList(numbered(299)));
}

void TestUploadIndex::followsNoLinkInItsOwnPlace()
{
    const StoredScene other;
    QVERIFY(other.write(QStringLiteral("precious"), ""));
    const StoredScene scene;
    QVERIFY(scene.addLog(numbered(1), "nickname-ann.", "a.log"));
    QVERIFY(QFile::link(other.path(QStringLiteral("precious")), scene.path(kIndex)));
    QCOMPARE(indexed(scene), QStringList(numbered(1)));
    QCOMPARE(QFileInfo(other.path(QStringLiteral("precious"))).size(), qint64(0));
    QVERIFY(!QFileInfo(scene.path(kIndex)).isSymLink());
}

void TestUploadIndex::takesUploadsOfSeveralThreadsWhileItIsSearched()
{
    constexpr int kThreads = 4;
    constexpr int kEach = 150;
    const StoredScene scene;
    UploadIndex index(scene.folder());
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&index, thread] {
            for (int i = 0; i < kEach; ++i) {
                auto added = upload(i * kThreads + thread + 1);
                added.nickname = "ann";
                index.add(added, {});
            }
        });
    }
    std::uint64_t seen = 0;
    while (seen < kThreads * kEach) {
        const auto matches = search(index, "ann");
        QVERIFY(matches.total >= seen);
        seen = matches.total;
    }
    for (auto &thread : threads)
        thread.join();
    QCOMPARE(ids(search(index, "ann")).first(), numbered(kThreads * kEach));
}

QTEST_GUILESS_MAIN(TestUploadIndex)
#include "tst_uploadindex.moc"
