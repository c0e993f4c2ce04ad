#include "support/files/fileio.h"
#include "support/files/inifile.h"
#include "support/files/logrecords.h"
#include "support/tool/toolsetup.h"
#include "support/wire/arrivals.h"
#include "support/wire/endpoints.h"
#include "support/wire/multipartform.h"

#include <QDir>
#include <QFileInfo>
#include <QTest>
#include <memory>

namespace {

/// The text of the first block of kind "ini" in the page; null without one.
QByteArray exampleOf(const QByteArray &page)
{
    const QByteArray fence = QByteArrayLiteral("\n```ini\n");
    const int begin = page.indexOf(fence) + fence.size();
    const int end = page.indexOf("\n```\n", begin);
    return begin < fence.size() || end < 0 ? QByteArray() : page.mid(begin, end - begin + 1);
}

QString rooms(const char *nickname)
{
    const QString user = QStringLiteral("nickname-%1.loginname-zoe.userid-10042.").arg(QString::fromUtf8(nickname));
    return user + QStringLiteral("roomid-101.roomname-Lobby,") + user +
           QString::fromUtf8("roomid-102.roomname-Caf\xc3\xa9, 1st floor");
}

} // namespace

/// Whether the example in docs/upload-ini.md means what the page says. The home of its user is the folder of the test.
class TestUploadIniExample : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void sendsTheFilesInTheOrderOfTheirGroups_data();
    void sendsTheFilesInTheOrderOfTheirGroups();
    void sendsTheOwnLogAndNothingElse();
    void readsTheVersion();
    void deletesTheSdkLogOnly();
    void leavesUserAndRooms();

private:
    QString pathOf(const char *name) const { return folder_ + QLatin1Char('/') + QLatin1String(name); }

    std::unique_ptr<ScriptedServer> server_;
    const Sandbox sandbox_;
    QString folder_;
    QString beside_;
    QVariantMap before_;
};

void TestUploadIniExample::initTestCase()
{
    QByteArray ini = exampleOf(readFile(QStringLiteral(KX_UPLOAD_INI_PAGE)));
    const QByteArray home = QByteArrayLiteral("/Users/zoe/");
    QCOMPARE(ini.count(home), 3);
    QVERIFY(sandbox_.isValid());
    ini.replace(home, sandbox_.root().toUtf8() + "/zoe/");
    folder_ = sandbox_.root() + QStringLiteral("/zoe/Library/Logs/KxClient");
    QVERIFY(QDir().mkpath(folder_ + QStringLiteral("/sdk")));
    for (const char *name : {"client 1.log", "call 7.log", "sdk/media.log"})
        QVERIFY(writeFile(pathOf(name), QByteArray("text of ") + name));
    beside_ = sandbox_.addFile(QStringLiteral("logs/crashreport.log"), "text of crashreport.log");
    QVERIFY(sandbox_.writeRawIni(ini));
    before_ = IniFile(sandbox_.iniPath()).values();

    server_ = std::make_unique<ScriptedServer>(servicePort());
    QVERIFY2(server_->isListening(), qPrintable(server_->errorString()));
    const ToolResult result = sandbox_.runTool({});
    QVERIFY2(result.isSuccess(), result.describe());
}

void TestUploadIniExample::sendsTheFilesInTheOrderOfTheirGroups_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<QByteArray>("path");
    QTest::addColumn<QString>("room");
    QTest::addColumn<QString>("fileName");
    QTest::addColumn<QByteArray>("bytes");
    const QByteArray logs = kLogFilePath;
    const QString zoe = rooms("Zo\xc3\xab");
    QTest::newRow("call_7") << 0 << logs << rooms("Guest") << QStringLiteral("call 7.log")
                            << QByteArray("text of call 7.log");
    QTest::newRow("client_2024_05_01") << 1 << logs << zoe << QStringLiteral("client 1.log")
                                       << QByteArray("text of client 1.log");
    QTest::newRow("crashreport") << 2 << logs << zoe << QStringLiteral("crashreport.log")
                                 << QByteArray("text of crashreport.log");
    QTest::newRow("mediasdk_1") << 3 << kProducerPath << zoe << QStringLiteral("media.log")
                                << QByteArray("text of sdk/media.log");
}

void TestUploadIniExample::sendsTheFilesInTheOrderOfTheirGroups()
{
    QFETCH(int, index);
    QFETCH(QByteArray, path);
    QFETCH(QString, room);
    QFETCH(QString, fileName);
    QFETCH(QByteArray, bytes);
    const RecordedRequest request = server_->requests().value(index);
    QCOMPARE(request.path, path);
    QCOMPARE(QString::fromUtf8(request.body),
             QString::fromUtf8(logForm(room, QStringLiteral("demo"), fileName, bytes)));
}

void TestUploadIniExample::sendsTheOwnLogAndNothingElse()
{
    QCOMPARE(server_->requests().size(), 5);
    const RecordedRequest request = server_->requests().last();
    QCOMPARE(sentFileName(request), QStringLiteral("own log"));
    QCOMPARE(QString::fromUtf8(parseForm(request).body("room")), rooms("Zo\xc3\xab"));
}

void TestUploadIniExample::readsTheVersion()
{
    const QStringList lines = recordLines(LogRecords(sandbox_.ownLogText()));
    QCOMPARE(lines.filter(QStringLiteral("initIni")),
             QStringList{QString::fromUtf8("KxUpload::initIni: version: \"1.2.3\" (\"call_7\", \"client_2024_05_01\", "
                                           "\"crashreport\", \"mediasdk_1\") () \"Zo\xc3\xab\" \"10042\"")});
}

void TestUploadIniExample::deletesTheSdkLogOnly()
{
    QVERIFY(!QFileInfo::exists(pathOf("sdk/media.log")));
    for (const QString &path : {pathOf("client 1.log"), pathOf("call 7.log"), beside_})
        QVERIFY2(QFileInfo::exists(path), qPrintable(path));
}

void TestUploadIniExample::leavesUserAndRooms()
{
    QCOMPARE(sandbox_.groups(), (QStringList{QStringLiteral("room"), QStringLiteral("system")}));
    const QVariantMap after = IniFile(sandbox_.iniPath()).values();
    QCOMPARE(after.size(), 7);
    for (auto value = after.cbegin(); value != after.cend(); ++value)
        QCOMPARE(value.value(), before_.value(value.key()));
}

QTEST_GUILESS_MAIN(TestUploadIniExample)
#include "tst_uploadiniexample.moc"
