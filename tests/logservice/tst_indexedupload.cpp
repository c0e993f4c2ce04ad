#include "store/indexedupload.h"
#include "store/uploadindex.h"
#include "storedscene.h"

#include <QtTest/QtTest>

#include <sys/stat.h>

namespace {

IndexedUpload read(const StoredScene &scene, const char *id = "000001-logfile")
{
    return readStoredUpload(scene.folder(), *parseUploadId(id)).upload;
}

} // namespace

/// What a stored upload tells of itself.
class TestIndexedUpload : public QObject
{
    Q_OBJECT

private slots:
    void readsWhatIsKnown();
    void readsWhatErrorsAndReportsTell();
    void waitsForNoPipe();
    void survivesDamagedRecords_data();
    void survivesDamagedRecords();
    void knowsWhatALargeRecordIs_data();
    void knowsWhatALargeRecordIs();
    void knowsWhoSentALongReport_data();
    void knowsWhoSentALongReport();
};

void TestIndexedUpload::readsWhatIsKnown()
{
    const StoredScene scene;
    QVERIFY(scene.addLog(QStringLiteral("000001-logfile"), "nickname-ann.loginname-a1.userid-7.roomid-12.roomname-Blue",
                         "a.log", "1234567"));
    const auto upload = read(scene);
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

void TestIndexedUpload::readsWhatErrorsAndReportsTell()
{
    const StoredScene scene;
    QVERIFY(scene.write(QStringLiteral("000001-error/upload.json"),
                        R"({"fields":{"type":1005,"message":"no\nroute","username":"Zo\u00eb","room_sdk_id":"9"}})"));
    QVERIFY(scene.write(QStringLiteral("000001-error/error.json"), "{}"));
    QVERIFY(scene.write(QStringLiteral("000002-report/upload.json"),
                        R"({"fields":{"LogTitle":"kx_error","LogData":"[a.cpp] lost","UserSid":"7"}})"));
    const auto error = read(scene, "000001-error");
    QCOMPARE(error.message, std::string("1005: no route"));
    QCOMPARE(error.nickname, std::string("Zo\xc3\xab"));
    QCOMPARE(error.rooms.at(0).id, std::string("9"));
    QCOMPARE(error.contentName, std::string("error.json"));
    QCOMPARE(read(scene, "000002-report").message, std::string("kx_error: [a.cpp] lost"));
}

void TestIndexedUpload::waitsForNoPipe()
{
    const StoredScene scene;
    QVERIFY(QDir(scene.path()).mkdir(QStringLiteral("000001-logfile")));
    for (const char *name : {"/upload.json", "/file.bin"})
        QCOMPARE(
            ::mkfifo(QFile::encodeName(scene.path(QStringLiteral("000001-logfile") + QLatin1String(name))).constData(),
                     0600),
            0);
    const auto upload = read(scene);
    QCOMPARE(upload.id.text, std::string("000001-logfile"));
    QVERIFY(!upload.bytes);
}

void TestIndexedUpload::survivesDamagedRecords_data()
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

void TestIndexedUpload::survivesDamagedRecords()
{
    QFETCH(QByteArray, record);
    const StoredScene scene;
    QVERIFY(scene.write(QStringLiteral("000001-logfile/upload.json"), record));
    QVERIFY(scene.write(QStringLiteral("000001-logfile/file.bin"), "bytes"));
    const auto upload = read(scene);
    QCOMPARE(upload.id.text, std::string("000001-logfile"));
    QCOMPARE(upload.time, std::string());
    QVERIFY(!upload.fileName);
    QCOMPARE(int(upload.bytes.value_or(0)), 5);
    UploadIndex index(scene.path().toStdString());
    QCOMPARE(int(index.find(UploadQuery()).total), 1);
}

void TestIndexedUpload::knowsWhatALargeRecordIs_data()
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

void TestIndexedUpload::knowsWhatALargeRecordIs()
{
    QFETCH(QByteArray, record);
    const StoredScene scene;
    QVERIFY(scene.write(QStringLiteral("000001-logfile/upload.json"), record));
    const auto upload = read(scene);
    QCOMPARE(upload.time, std::string("2024-05-01T09:30:00Z"));
    QCOMPARE(upload.fileName.value_or("none"), std::string("\"fields\":.log"));
}

void TestIndexedUpload::knowsWhoSentALongReport_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::newRow("long text") << '"' + QByteArray(3000000, 'x') + '"';
    // As many as two documents of a crash may hold.
    QTest::newRow("many values") << '[' + QByteArray("0,").repeated(300000) + "0]";
}

void TestIndexedUpload::knowsWhoSentALongReport()
{
    QFETCH(QByteArray, data);
    const StoredScene scene;
    QVERIFY(scene.write(QStringLiteral("000001-report/upload.json"),
                        R"({"time":"2024-05-01T09:30:00Z","fields":{"RoomId":"12","UserSid":"u7","LogData":)" + data +
                            "}}"));
    const auto upload = read(scene, "000001-report");
    QCOMPARE(upload.userId, std::string("u7"));
    QCOMPARE(int(upload.rooms.size()), 1);
}

QTEST_GUILESS_MAIN(TestIndexedUpload)
#include "tst_indexedupload.moc"
