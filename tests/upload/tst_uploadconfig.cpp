#include "support/files/fileio.h"
#include "support/process/messagecatcher.h"
#include "support/process/messagelines.h"
#include "support/uploader/testuploader.h"
#include "support/uploader/text.h"
#include "support/uploader/uploadini.h"

#include <QDir>
#include <QTest>

namespace {

QVariantMap rooms(const QList<QPair<QString, QVariant>> &entries)
{
    QVariantMap map;
    for (const auto &entry : entries)
        map.insert(entry.first, entry.second);
    return map;
}

} // namespace

class TestUploadConfig : public QObject
{
    Q_OBJECT

private slots:
    void init() { uploadini::remove(); }

    void readsEverySystemKey();
    void leavesTextsEmptyWhenTheFileIsMissing();
    void leavesTextsEmptyWhenTheFileIsADirectory();
    void readsOnlyTheSystemGroupAndNothingElse();
    void looksKeysUpWithTheirCase();
    void looksGroupsUpWithTheirCase();
    void readsTextsAsUtf8();
    void readsTheListOfLogFiles_data();
    void readsTheListOfLogFiles();
    void sortsGroups_data();
    void sortsGroups();
    void listsGroupsInTheOrderOfTheSettings();
    void sortsRoomsByTheirIds();
    void addsRoomsToThoseThatAreThere();
    void appendsGroupsWhenItReadsAgain();
    void writesNothing();
    void logsWhatItHasRead();
};

void TestUploadConfig::readsEverySystemKey()
{
    uploadini::write("[system]\n"
                     "path=/a/path\nsdkpath=/a/sdk\nhttppath=/a/http\ninfopath=/a/info\nlogfiles=one.log\n"
                     "nickname=ann\nloginName=a1\nuserId=42\nnamespace=space\nversion=1.2.3\n");
    TestUploader uploader;
    uploader.initIni();
    QCOMPARE(uploader.systemPath, text("/a/path"));
    QCOMPARE(uploader.sdkPath, text("/a/sdk"));
    QCOMPARE(uploader.httpPath, text("/a/http"));
    QCOMPARE(uploader.infoPath, text("/a/info"));
    QCOMPARE(uploader.logFiles, QList<QString>{text("one.log")});
    QCOMPARE(uploader.nickname, text("ann"));
    QCOMPARE(uploader.loginName, text("a1"));
    QCOMPARE(uploader.userId, text("42"));
    QCOMPARE(uploader.nameSpace, text("space"));
    QCOMPARE(uploader.version, text("1.2.3"));
    QCOMPARE(uploader.crashPath, QString());
}

void TestUploadConfig::leavesTextsEmptyWhenTheFileIsMissing()
{
    TestUploader uploader;
    uploader.initIni();
    for (const QString &field :
         {uploader.systemPath, uploader.sdkPath, uploader.httpPath, uploader.infoPath, uploader.nickname,
          uploader.loginName, uploader.userId, uploader.nameSpace, uploader.version})
        QCOMPARE(field, QString());
    QVERIFY(uploader.logFiles.isEmpty());
    QVERIFY(uploader.roomMap.isEmpty());
    QVERIFY(uploader.fileGroups.isEmpty());
    QVERIFY(uploader.httpGroups.isEmpty());
}

void TestUploadConfig::leavesTextsEmptyWhenTheFileIsADirectory()
{
    QVERIFY(QDir().mkpath(uploadini::path()));
    TestUploader uploader;
    uploader.initIni();
    QVERIFY(QDir().rmdir(uploadini::path()));
    QCOMPARE(uploader.nickname, QString());
    QVERIFY(uploader.fileGroups.isEmpty());
}

void TestUploadConfig::readsOnlyTheSystemGroupAndNothingElse()
{
    uploadini::write("[system]\nnickname=ann\n");
    TestUploader uploader;
    uploader.initIni();
    QCOMPARE(uploader.nickname, text("ann"));
    QVERIFY(uploader.roomMap.isEmpty());
    QVERIFY(uploader.fileGroups.isEmpty());
    QVERIFY(uploader.httpGroups.isEmpty());
}

void TestUploadConfig::looksKeysUpWithTheirCase()
{
    uploadini::write("[system]\nPath=1\nsdkPath=2\nhttpPath=3\ninfoPath=4\nlogFiles=5\nNickname=6\nloginname=7\n"
                     "userid=8\nnameSpace=9\nVersion=10\n");
    TestUploader uploader;
    uploader.initIni();
    for (const QString &field :
         {uploader.systemPath, uploader.sdkPath, uploader.httpPath, uploader.infoPath, uploader.nickname,
          uploader.loginName, uploader.userId, uploader.nameSpace, uploader.version})
        QCOMPARE(field, QString());
    QVERIFY(uploader.logFiles.isEmpty());
}

void TestUploadConfig::looksGroupsUpWithTheirCase()
{
    uploadini::write("[System]\nnickname=ann\n[Room]\n7=lobby\n[HTTP_1]\npath=x\n");
    TestUploader uploader;
    uploader.initIni();
    QCOMPARE(uploader.nickname, QString());
    QVERIFY(uploader.roomMap.isEmpty());
    QCOMPARE(uploader.fileGroups, (QList<QString>{text("HTTP_1"), text("Room"), text("System")}));
    QVERIFY(uploader.httpGroups.isEmpty());
}

void TestUploadConfig::readsTextsAsUtf8()
{
    uploadini::write("[system]\nnickname=\xC3\xA4nn\xE4\xB8\xAD\nnamespace=\xF0\x9F\x98\x80\n[room]\n7=h\xC3\xA9\n");
    TestUploader uploader;
    uploader.initIni();
    QCOMPARE(uploader.nickname, text("\xC3\xA4nn\xE4\xB8\xAD"));
    QCOMPARE(uploader.nameSpace, text("\xF0\x9F\x98\x80"));
    QCOMPARE(uploader.roomMap, rooms({{text("7"), text("h\xC3\xA9")}}));
}

void TestUploadConfig::readsTheListOfLogFiles_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<QStringList>("files");
    QTest::newRow("one") << QByteArray("a.log") << QStringList{text("a.log")};
    QTest::newRow("three") << QByteArray("a.log, b.log,c.log")
                           << QStringList{text("a.log"), text("b.log"), text("c.log")};
    QTest::newRow("quoted comma") << QByteArray("\"a,b.log\", c.log") << QStringList{text("a,b.log"), text("c.log")};
    QTest::newRow("all quoted") << QByteArray("\"a,b.log\"") << QStringList{text("a,b.log")};
}

void TestUploadConfig::readsTheListOfLogFiles()
{
    QFETCH(const QByteArray, value);
    QFETCH(const QStringList, files);
    uploadini::write("[system]\nlogfiles=" + value + '\n');
    TestUploader uploader;
    uploader.initIni();
    QCOMPARE(QStringList(uploader.logFiles), files);
}

void TestUploadConfig::sortsGroups_data()
{
    QTest::addColumn<QString>("group");
    QTest::addColumn<QString>("list");
    const QString file = text("file");
    const QString http = text("http");
    const QString none;
    QTest::newRow("plain") << text("log1") << file;
    QTest::newRow("http_ in front") << text("http_1") << http;
    QTest::newRow("http_ inside") << text("x_http_y") << http;
    QTest::newRow("http_ at the end") << text("loghttp_") << http;
    QTest::newRow("http without underscore") << text("http1") << file;
    QTest::newRow("http_ in capitals") << text("HTTP_1") << file;
    QTest::newRow("http_ and room") << text("http_room") << http;
    QTest::newRow("http_ and system") << text("my_system_http_1") << http;
    QTest::newRow("room behind") << text("room2") << none;
    QTest::newRow("room in front") << text("chatroom_1") << none;
    QTest::newRow("room inside") << text("my_room_2") << none;
    QTest::newRow("Room in capitals") << text("chatRoom_1") << file;
    QTest::newRow("system behind") << text("systemlog") << none;
    QTest::newRow("system inside") << text("my_system_1") << none;
    QTest::newRow("System in capitals") << text("mySystem_1") << file;
    QTest::newRow("with a point and spaces") << text("client 2020.01") << file;
}

void TestUploadConfig::sortsGroups()
{
    QFETCH(const QString, group);
    QFETCH(const QString, list);
    uploadini::set(group + text("/path"), text("/a/file"));
    TestUploader uploader;
    uploader.initIni();
    const QList<QString> only{group};
    QCOMPARE(uploader.fileGroups, list == text("file") ? only : QList<QString>());
    QCOMPARE(uploader.httpGroups, list == text("http") ? only : QList<QString>());
}

void TestUploadConfig::listsGroupsInTheOrderOfTheSettings()
{
    uploadini::write("[zeta]\nsdk=1\n[http_b]\nsdk=1\n[alpha]\nsdk=1\n[http_a]\nsdk=1\n[mid]\nsdk=1\n");
    TestUploader uploader;
    uploader.initIni();
    QCOMPARE(uploader.fileGroups, (QList<QString>{text("alpha"), text("mid"), text("zeta")}));
    QCOMPARE(uploader.httpGroups, (QList<QString>{text("http_a"), text("http_b")}));
}

void TestUploadConfig::sortsRoomsByTheirIds()
{
    uploadini::write("[room]\n9=talk\n7=lobby\n12=hall\na=last\n");
    TestUploader uploader;
    uploader.initIni();
    QCOMPARE(uploader.roomMap.keys(), (QList<QString>{text("12"), text("7"), text("9"), text("a")}));
    QCOMPARE(uploader.roomMap.value(text("12")).toString(), text("hall"));
    QCOMPARE(uploader.roomMap.value(text("9")).toString(), text("talk"));
}

void TestUploadConfig::addsRoomsToThoseThatAreThere()
{
    uploadini::write("[room]\n7=lobby\n");
    TestUploader uploader;
    uploader.roomMap = rooms({{text("5"), text("old")}, {text("7"), text("replaced")}});
    uploader.initIni();
    QCOMPARE(uploader.roomMap, rooms({{text("5"), text("old")}, {text("7"), text("lobby")}}));
}

void TestUploadConfig::appendsGroupsWhenItReadsAgain()
{
    uploadini::write("[log1]\nsdk=1\n[http_1]\nsdk=1\n");
    TestUploader uploader;
    uploader.initIni();
    uploader.initIni();
    QCOMPARE(uploader.fileGroups, (QList<QString>{text("log1"), text("log1")}));
    QCOMPARE(uploader.httpGroups, (QList<QString>{text("http_1"), text("http_1")}));
}

void TestUploadConfig::writesNothing()
{
    const QByteArray content = "; kept as it is\r\n[system]\r\n nickname = ann\r\n[log1]\r\npath=/x\r\n";
    uploadini::write(content);
    {
        TestUploader uploader;
        uploader.initIni();
    }
    QCOMPARE(readFile(uploadini::path()), content);
}

void TestUploadConfig::logsWhatItHasRead()
{
    uploadini::write("[system]\nnickname=ann\nuserId=42\nversion=1.2\nloginName=a1\n"
                     "[log1]\nsdk=1\n[log2]\nsdk=1\n[http_1]\nsdk=1\n");
    TestUploader uploader;
    const MessageCatcher messages;
    uploader.initIni();
    QCOMPARE(messageLines(messages),
             QStringList{text("void KxUpload::initIni(): "
                              "version: \"1.2\" (\"log1\", \"log2\") (\"http_1\") \"ann\" \"42\"")});
}

QTEST_GUILESS_MAIN(TestUploadConfig)
#include "tst_uploadconfig.moc"
