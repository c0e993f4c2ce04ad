#include "store/uploadindex.h"
#include "storedscene.h"

#include <QtTest/QtTest>

#include <thread>

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

UploadMatches search(UploadIndex &index, const char *text)
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
    void keepsWhatIsAdded();
    void pagesThroughAllAndBack();
    void filtersByKindAndTime();
    void countsByDay();
    void leavesOutWhatIsNoUpload();
    void followsNoLinks();
    void noticesWhatCameAndWentMeanwhile();
    void isMadeAnewWhenItCannotBeRead_data();
    void isMadeAnewWhenItCannotBeRead();
    void isMadeAnewWhenItIsFoundDamagedLater();
    void followsNoLinkInItsOwnPlace();
    void takesUploadsOfSeveralThreadsWhileItIsSearched();
    void countsTheSameUploadsThroughout();
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
        QCOMPARE(int(index.find(UploadQuery()).storedCount), 2);
    }
    UploadIndex index(scene.folder());
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
    UploadQuery query;
    query.days = 2;
    for (const auto &count : index.find(query).days)
        counts << QString::fromStdString(count.day + ' ' + count.kind) + QLatin1Char(' ') +
                      QString::number(count.count);
    QCOMPARE(counts, (QStringList{QStringLiteral("2024-04-30 logfile 1"), QStringLiteral("2024-05-01 crash 1"),
                                  QStringLiteral("2024-05-01 logfile 2")}));
    query.kind = "crash";
    QCOMPARE(int(index.find(query).days.size()), 1);
    query.days = 0;
    QCOMPARE(int(index.find(query).days.size()), 0);
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
    UploadIndex index(scene.folder());
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
    UploadIndex index(scene.folder());
    QCOMPARE(ids(search(index, "zoe")), QStringList(numbered(1)));
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
    UploadIndex index(scene.folder());
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

/// However many come meanwhile.
void TestUploadIndex::countsTheSameUploadsThroughout()
{
    const StoredScene scene;
    UploadIndex index(scene.folder());
    std::thread thread([&index] {
        for (int i = 1; i <= 3000; ++i)
            index.add(upload(i, "2024-05-01T09:30:00Z", i % 2 ? "crash" : "logfile"), {});
    });
    UploadQuery query;
    query.days = 9;
    UploadMatches matches;
    int differing = 0;
    while (matches.total < 3000) {
        matches = index.find(query);
        std::uint64_t sum = 0;
        for (const auto &day : matches.days)
            sum += day.count;
        differing += matches.total == matches.storedCount && matches.total == sum ? 0 : 1;
    }
    thread.join();
    QCOMPARE(differing, 0);
}

QTEST_GUILESS_MAIN(TestUploadIndex)
#include "tst_uploadindex.moc"
