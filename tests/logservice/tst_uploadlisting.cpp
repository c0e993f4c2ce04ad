#include "store/uploadlisting.h"
#include "storedscene.h"

#include <QtTest/QtTest>

#include <sys/stat.h>
#include <unistd.h>

namespace {

QStringList ids(const UploadListing &listing)
{
    QStringList names;
    for (const auto &upload : listing.uploads)
        names << QString::fromStdString(upload.id.text);
    return names;
}

QStringList listed(const StoredScene &scene, const ListingQuery &query = {})
{
    return ids(listUploads(scene.folder(), query));
}

QString numbered(int number, const char *kind = "logfile")
{
    return QStringLiteral("%1-%2").arg(number, 6, 10, QLatin1Char('0')).arg(QLatin1String(kind));
}

/// What is stored under the only id that is listed.
StoredUpload onlyUpload(const StoredScene &scene)
{
    const auto listing = listUploads(scene.folder(), {});
    return listing.uploads.size() == 1 ? readStoredUpload(scene.folder(), listing.uploads.front().id) : StoredUpload();
}

/// Adds uploads from number 2 to \a last, whose records are that of the first. Returns whether they are there.
bool addCopies(const StoredScene &scene, int last)
{
    const QByteArray record = QFile::encodeName(scene.path(numbered(1) + QStringLiteral("/upload.json")));
    for (int i = 2; i <= last; ++i) {
        const QString folder = scene.path(numbered(i));
        const QByteArray copy = QFile::encodeName(folder + QStringLiteral("/upload.json"));
        if (!QDir().mkdir(folder) || ::link(record.constData(), copy.constData()) != 0)
            return false;
    }
    return true;
}

} // namespace

class TestUploadListing : public QObject
{
    Q_OBJECT

private slots:
    void listsNewestFirst();
    void readsWhatIsKnown();
    void filtersByKind();
    void filtersByText_data();
    void filtersByText();
    void pagesThroughAll();
    void pagesThroughMatches();
    void looksAtSoManyAtOnce();
    void readsSoManyBytesAtOnce();
    void leavesOutWhatIsNoUpload();
    void followsNoLinks();
    void waitsForNoPipe();
    void survivesDamagedRecords_data();
    void survivesDamagedRecords();
    void readsTheDeepestDocumentThatIsTaken();
    void throwsWithoutAFolder();
    void staysQuickWithThousands();
    void staysQuickWithLargeRecords_data();
    void staysQuickWithLargeRecords();
};

void TestUploadListing::listsNewestFirst()
{
    const StoredScene scene;
    for (const QString &id : {numbered(2, "crash"), numbered(10), numbered(1), QStringLiteral("1000000-report")})
        QVERIFY(QDir(scene.path()).mkdir(id));
    QCOMPARE(listed(scene),
             (QStringList{QStringLiteral("1000000-report"), numbered(10), numbered(2, "crash"), numbered(1)}));
    QCOMPARE(int(listUploads(scene.folder(), {}).storedCount), 4);
}

void TestUploadListing::readsWhatIsKnown()
{
    const StoredScene scene;
    QVERIFY(scene.addLog(numbered(7), "nickname-ann.", "a.log", "1234567"));
    const auto listing = listUploads(scene.folder(), {});
    QCOMPARE(int(listing.uploads.size()), 1);
    const auto &row = listing.uploads.front();
    QCOMPARE(row.id.text, std::string("000007-logfile"));
    QCOMPARE(row.time, std::string("2024-05-01T09:30:00Z"));
    QCOMPARE(row.fileName.value_or("none"), std::string("a.log"));
    QCOMPARE(int(row.size.value_or(0)), 7);
    QCOMPARE(row.sender.description.nickname, std::string("ann"));
    const auto upload = onlyUpload(scene);
    QCOMPARE(int(upload.id.number), 7);
    QCOMPARE(upload.id.kind, std::string("logfile"));
    QCOMPARE(upload.time, std::string("2024-05-01T09:30:00Z"));
    QCOMPARE(upload.fileName.value_or("none"), std::string("a.log"));
    // What is on the disk, not what the record claims.
    QCOMPARE(int(upload.size.value_or(0)), 7);
    QCOMPARE(upload.fields["room"].get<std::string>(), std::string("nickname-ann."));
}

void TestUploadListing::filtersByKind()
{
    const StoredScene scene;
    for (const QString &id : {numbered(1), numbered(2, "crash"), numbered(3, "report"), numbered(4, "crash")})
        QVERIFY(QDir(scene.path()).mkdir(id));
    ListingQuery query;
    query.kind = "crash";
    QCOMPARE(listed(scene, query), (QStringList{numbered(4, "crash"), numbered(2, "crash")}));
    query.kind = "error";
    QCOMPARE(listed(scene, query), QStringList());
}

void TestUploadListing::filtersByText_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QStringList>("found");
    const QString first = numbered(1);
    const QString second = numbered(2);
    const QString third = numbered(3, "error");
    QTest::newRow("nothing") << QByteArray() << QStringList{third, second, first};
    QTest::newRow("user") << QByteArray("ann") << QStringList{first};
    QTest::newRow("capitals") << QByteArray("NICKNAME-") << QStringList{second, first};
    QTest::newRow("file name") << QByteArray("second.log") << QStringList{second};
    QTest::newRow("not ASCII") << QByteArray("zo\xc3\xab") << QStringList{second};
    QTest::newRow("markup") << QByteArray("<b>") << QStringList{second};
    QTest::newRow("member within") << QByteArray("deep") << QStringList{third};
    QTest::newRow("number") << QByteArray("4711") << QStringList{third};
    QTest::newRow("no name of a member") << QByteArray("namespace") << QStringList();
    QTest::newRow("no pattern") << QByteArray(".*") << QStringList();
    QTest::newRow("longer than all") << QByteArray(100000, 'x') << QStringList();
}

void TestUploadListing::filtersByText()
{
    QFETCH(QByteArray, text);
    const StoredScene scene;
    QVERIFY(scene.addLog(numbered(1), "nickname-Ann.", "first.log"));
    QVERIFY(scene.addLog(numbered(2), "nickname-<b>Zo\xc3\xab</b>.", "second.log"));
    QVERIFY(scene.write(numbered(3, "error") + QStringLiteral("/upload.json"),
                        "{\"fields\":{\"type\":4711,\"list\":[null,{\"x\":\"deep\"}]}}"));
    ListingQuery query;
    query.text = text.toStdString();
    QTEST(listed(scene, query), "found");
}

void TestUploadListing::pagesThroughAll()
{
    const StoredScene scene;
    QStringList all;
    for (int i = 1; i <= 7; ++i) {
        QVERIFY(QDir(scene.path()).mkdir(numbered(i)));
        all.prepend(numbered(i));
    }
    ListingLimits limits;
    limits.maxRows = 3;
    ListingQuery query;
    QStringList seen;
    for (int size : {3, 3, 1}) {
        const auto listing = listUploads(scene.folder(), query, limits);
        QCOMPARE(int(listing.uploads.size()), size);
        QCOMPARE(int(listing.storedCount), 7);
        QCOMPARE(listing.older.has_value(), size == 3);
        seen += ids(listing);
        query.before = listing.older;
    }
    QCOMPARE(seen, all);
}

void TestUploadListing::pagesThroughMatches()
{
    const StoredScene scene;
    for (int i = 1; i <= 9; ++i)
        QVERIFY(scene.addLog(numbered(i), i % 2 == 0 ? "even" : "odd", "a.log"));
    ListingLimits limits;
    limits.maxRows = 2;
    ListingQuery query;
    query.text = "even";
    auto listing = listUploads(scene.folder(), query, limits);
    QCOMPARE(ids(listing), (QStringList{numbered(8), numbered(6)}));
    query.before = listing.older;
    listing = listUploads(scene.folder(), query, limits);
    QCOMPARE(ids(listing), (QStringList{numbered(4), numbered(2)}));
    query.before = listing.older;
    listing = listUploads(scene.folder(), query, limits);
    QCOMPARE(ids(listing), QStringList());
    QVERIFY(!listing.older);
}

void TestUploadListing::looksAtSoManyAtOnce()
{
    const StoredScene scene;
    QVERIFY(scene.addLog(numbered(1), "needle", "a.log"));
    for (int i = 2; i <= 5; ++i)
        QVERIFY(scene.addLog(numbered(i), "hay", "a.log"));
    ListingLimits limits;
    limits.maxLookedAt = 3;
    ListingQuery query;
    query.text = "needle";
    auto listing = listUploads(scene.folder(), query, limits);
    QCOMPARE(ids(listing), QStringList());
    QVERIFY(listing.older.has_value());
    query.before = listing.older;
    listing = listUploads(scene.folder(), query, limits);
    QCOMPARE(ids(listing), QStringList(numbered(1)));
    QVERIFY(!listing.older);
}

void TestUploadListing::readsSoManyBytesAtOnce()
{
    const StoredScene scene;
    QVERIFY(scene.addLog(numbered(1), "needle", "a.log"));
    for (int i = 2; i <= 5; ++i)
        QVERIFY(scene.addLog(numbered(i), QByteArray(1000, 'x'), "a.log"));
    ListingLimits limits;
    limits.maxBytes = 3000;
    for (const char *text : {"needle", ""}) {
        ListingQuery query;
        query.text = text;
        auto listing = listUploads(scene.folder(), query, limits);
        QCOMPARE(ids(listing), *text ? QStringList() : (QStringList{numbered(5), numbered(4), numbered(3)}));
        QVERIFY(listing.older.has_value());
        QCOMPARE(listing.older->text, std::string("000003-logfile"));
        query.before = listing.older;
        listing = listUploads(scene.folder(), query, limits);
        QCOMPARE(ids(listing), *text ? QStringList(numbered(1)) : (QStringList{numbered(2), numbered(1)}));
        QVERIFY(!listing.older);
    }
}

void TestUploadListing::leavesOutWhatIsNoUpload()
{
    const StoredScene scene;
    QVERIFY(scene.addLog(numbered(1), "x", "a.log"));
    for (const char *name : {".incoming-1", "000002-<b>", "notes", "000003-Log", "-logfile"})
        QVERIFY(QDir(scene.path()).mkdir(QLatin1String(name)));
    QVERIFY(scene.write(numbered(4), "a file"));
    QVERIFY(scene.write(QStringLiteral(".lock"), ""));
    QCOMPARE(listed(scene), QStringList(numbered(1)));
}

void TestUploadListing::followsNoLinks()
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
    QCOMPARE(listed(scene), QStringList(numbered(2)));
    const auto upload = onlyUpload(scene);
    QVERIFY(!upload.size);
    QVERIFY(!upload.fileName);
    QVERIFY(upload.fields.empty());
    QVERIFY(!readStoredUpload(scene.folder(), *parseUploadId("000001-logfile")).size);
}

void TestUploadListing::waitsForNoPipe()
{
    const StoredScene scene;
    QVERIFY(QDir(scene.path()).mkdir(numbered(1)));
    for (const char *name : {"/upload.json", "/file.bin"})
        QCOMPARE(::mkfifo(QFile::encodeName(scene.path(numbered(1) + QLatin1String(name))).constData(), 0600), 0);
    const auto upload = onlyUpload(scene);
    QCOMPARE(upload.id.text, std::string("000001-logfile"));
    QVERIFY(!upload.size);
}

void TestUploadListing::survivesDamagedRecords_data()
{
    QTest::addColumn<QByteArray>("record");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("text") << QByteArray("hello");
    QTest::newRow("array") << QByteArray("[1]");
    QTest::newRow("cut off") << QByteArray("{\"time\":\"2024");
    QTest::newRow("no members") << QByteArray("{}");
    QTest::newRow("other types") << QByteArray("{\"time\":1,\"fileName\":[],\"size\":\"x\",\"fields\":\"y\"}");
    QTest::newRow("nulls") << QByteArray("{\"time\":null,\"fileName\":null,\"size\":null,\"fields\":null}");
    QTest::newRow("not UTF-8") << QByteArray("{\"fileName\":\"\xff\"}");
    QTest::newRow("deep") << "{\"fields\":{\"a\":" + QByteArray(500000, '[') + QByteArray(500000, ']') + "}}";
    QTest::newRow("large") << "{\"time\":\"" + QByteArray(2000000, 'x') + "\"}";
}

void TestUploadListing::survivesDamagedRecords()
{
    QFETCH(QByteArray, record);
    const StoredScene scene;
    QVERIFY(scene.write(QStringLiteral("000001-logfile/upload.json"), record));
    QVERIFY(scene.write(QStringLiteral("000001-logfile/file.bin"), "bytes"));
    const auto upload = onlyUpload(scene);
    QCOMPARE(upload.id.text, std::string("000001-logfile"));
    QCOMPARE(upload.time, std::string());
    QVERIFY(!upload.fileName);
    QCOMPARE(int(upload.size.value_or(0)), 5);
    QVERIFY(upload.fields.is_object());
    QVERIFY(upload.fields.empty());
}

void TestUploadListing::readsTheDeepestDocumentThatIsTaken()
{
    const StoredScene scene;
    const QByteArray document = QByteArray("{\"a\":").repeated(100) + "\"needle\"" + QByteArray(100, '}');
    QVERIFY(scene.write(QStringLiteral("000001-crash/upload.json"), "{\"fields\":{\"base\":" + document + "}}"));
    ListingQuery query;
    query.text = "needle";
    QCOMPARE(listed(scene, query), QStringList(QStringLiteral("000001-crash")));
}

void TestUploadListing::throwsWithoutAFolder()
{
    const StoredScene scene;
    QVERIFY_EXCEPTION_THROWN(listUploads(scene.folder() / "gone", {}), std::filesystem::filesystem_error);
}

void TestUploadListing::staysQuickWithThousands()
{
    constexpr int kUploads = 2000;
    const StoredScene scene;
    QVERIFY(scene.addLog(numbered(1), "nickname-ann.loginname-a1.userid-7.", "client.log"));
    QVERIFY(addCopies(scene, kUploads));
    QElapsedTimer timer;
    timer.start();
    auto listing = listUploads(scene.folder(), {});
    const qint64 pageMs = timer.restart();
    QCOMPARE(int(listing.uploads.size()), 50);
    ListingQuery query;
    query.text = "no such text";
    listing = listUploads(scene.folder(), query);
    const qint64 searchMs = timer.elapsed();
    QVERIFY(listing.uploads.empty());
    QVERIFY(!listing.older);
    qInfo("of %d uploads, a page takes %lld ms, a search through all %lld ms", kUploads, pageMs, searchMs);
    // Many times what it takes, for machines under load and sanitizers.
    QVERIFY(pageMs < 2000 * KX_SLOWDOWN);
    QVERIFY(searchMs < 10000 * KX_SLOWDOWN);
}

void TestUploadListing::staysQuickWithLargeRecords_data()
{
    QTest::addColumn<QByteArray>("fields");
    QTest::newRow("text") << "{\"a\":\"" + QByteArray(1000000, 'x') + "\"}";
    QTest::newRow("numbers") << "{\"a\":[" + QByteArray("1,").repeated(500000) + "1]}";
}

/// Each record is nearly as large as one may be, and the text matches nearly everywhere.
void TestUploadListing::staysQuickWithLargeRecords()
{
    QFETCH(QByteArray, fields);
    constexpr int kUploads = 200;
    const StoredScene scene;
    QVERIFY(scene.write(numbered(1) + QStringLiteral("/upload.json"), "{\"fields\":" + fields + "}"));
    QVERIFY(addCopies(scene, kUploads));
    QElapsedTimer timer;
    timer.start();
    ListingQuery query;
    query.text = std::string(kMaxQueryTextBytes - 1, 'x') + 'y';
    const auto listing = listUploads(scene.folder(), query);
    const qint64 searchMs = timer.elapsed();
    qInfo("a search takes %lld ms", searchMs);
    QVERIFY(listing.uploads.empty());
    QVERIFY(listing.older.has_value());
    QVERIFY(listing.older->number > kUploads - 20);
    QVERIFY(searchMs < 60000 * KX_SLOWDOWN); // as above
}

QTEST_GUILESS_MAIN(TestUploadListing)
#include "tst_uploadlisting.moc"
