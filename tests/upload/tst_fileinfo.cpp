#include "support/process/messagecatcher.h"
#include "support/process/messagelines.h"
#include "support/uploader/testuploader.h"
#include "support/uploader/text.h"
#include "support/uploader/uploadini.h"

#include <QCoreApplication>
#include <QSettings>
#include <QTest>

class TestFileInfo : public QObject
{
    Q_OBJECT

private slots:
    void init() { uploadini::write(QByteArray()); }
    void cleanupTestCase() { uploadini::remove(); }

    void describesUserAndRooms_data();
    void describesUserAndRooms();
    void describesAGroup_data();
    void describesAGroup();
    void logsTheGroupWithItsDescription();
    void leavesTheGroupItHasRead();
    void namesTheFileOfAGroup_data();
    void namesTheFileOfAGroup();
    void recognisesSdkLogs_data();
    void recognisesSdkLogs();
};

void TestFileInfo::describesUserAndRooms_data()
{
    QTest::addColumn<QString>("nickname");
    QTest::addColumn<QString>("loginName");
    QTest::addColumn<QString>("userId");
    QTest::addColumn<QVariantMap>("rooms");
    QTest::addColumn<QString>("info");
    QTest::addColumn<QString>("logged"); ///< the rooms only

    const QString none;
    const QVariantMap lobby{{text("7"), text("lobby")}};
    const QVariantMap two{{text("9"), text("talk")}, {text("7"), text("lobby")}};
    QTest::newRow("nothing") << none << none << none << QVariantMap() << none << none;
    QTest::newRow("nickname") << text("ann") << none << none << QVariantMap() << text("nickname-ann.") << none;
    QTest::newRow("login name") << none << text("a1") << none << QVariantMap() << text("loginname-a1.") << none;
    QTest::newRow("user id") << none << none << text("42") << QVariantMap() << text("userid-42.") << none;
    QTest::newRow("nickname and user id")
        << text("ann") << none << text("42") << QVariantMap() << text("nickname-ann.userid-42.") << none;
    QTest::newRow("all three") << text("ann") << text("a1") << text("42") << QVariantMap()
                               << text("nickname-ann.loginname-a1.userid-42.") << none;
    const QString roomOnly = text("roomid-7.roomname-lobby");
    QTest::newRow("room") << none << none << none << lobby << roomOnly << roomOnly;
    const QString full = text("nickname-ann.loginname-a1.userid-42.roomid-7.roomname-lobby");
    QTest::newRow("all three and a room") << text("ann") << text("a1") << text("42") << lobby << full << full;
    const QString both = text("nickname-ann.userid-42.roomid-7.roomname-lobby,"
                              "nickname-ann.userid-42.roomid-9.roomname-talk");
    QTest::newRow("two rooms") << text("ann") << none << text("42") << two << both << both;
    const QString sorted = text("roomid-12.roomname-b,roomid-9.roomname-a,roomid-B.roomname-d,roomid-a.roomname-c");
    QTest::newRow("rooms sorted as texts")
        << none << none << none
        << QVariantMap{{text("9"), text("a")}, {text("12"), text("b")}, {text("a"), text("c")}, {text("B"), text("d")}}
        << sorted << sorted;
    QTest::newRow("room without name") << none << none << none << QVariantMap{{text("7"), QVariant()}}
                                       << text("roomid-7.roomname-") << text("roomid-7.roomname-");
    QTest::newRow("number as name") << none << none << none << QVariantMap{{text("7"), 12}}
                                    << text("roomid-7.roomname-12") << text("roomid-7.roomname-12");
    const QString odd = text("nickname-%1, .userid-%2.roomid-%1.roomname-\xC3\xA9,\xE4\xB8\xAD");
    QTest::newRow("signs of the text itself")
        << text("%1, ") << none << text("%2") << QVariantMap{{text("%1"), text("\xC3\xA9,\xE4\xB8\xAD")}} << odd << odd;
}

void TestFileInfo::describesUserAndRooms()
{
    QFETCH(const QVariantMap, rooms);
    TestUploader uploader;
    uploader.nickname = *static_cast<const QString *>(QTest::qData("nickname", QMetaType::QString));
    uploader.loginName = *static_cast<const QString *>(QTest::qData("loginName", QMetaType::QString));
    uploader.userId = *static_cast<const QString *>(QTest::qData("userId", QMetaType::QString));
    uploader.roomMap = rooms;
    QFETCH(const QString, logged);

    const MessageCatcher messages;
    QTEST(uploader.getFileInfo(), "info");
    const QString line = QStringLiteral("QString KxUpload::getFileInfo(): \"") + logged + QLatin1Char('"');
    QCOMPARE(messageLines(messages), QStringList{line});
}

void TestFileInfo::describesAGroup_data()
{
    QTest::addColumn<QVariantMap>("group"); ///< keys and values of the group
    QTest::addColumn<QVariantMap>("rooms"); ///< the uploader's
    QTest::addColumn<QString>("info");

    const auto row = [](const char *name, const QVariantMap &group, const QVariantMap &rooms, const char *info) {
        QTest::newRow(name) << group << rooms << text(info);
    };
    const QVariantMap none;
    const QVariantMap lobby{{text("7"), text("lobby")}};
    const QString nickname = text("nickname");
    const QString room = text("room");
    row("defaults", {{text("path"), text("/x")}}, none, "nickname-N.loginname-L.userid-U.");
    row("no such group", {}, none, "nickname-N.loginname-L.userid-U.");
    row("own nickname", {{nickname, text("ann")}}, none, "nickname-ann.loginname-L.userid-U.");
    row("own login name", {{text("loginName"), text("a1")}}, none, "nickname-N.loginname-a1.userid-U.");
    row("own user id", {{text("userId"), text("42")}}, none, "nickname-N.loginname-L.userid-42.");
    row("three of its own", {{nickname, text("ann")}, {text("loginName"), text("a1")}, {text("userId"), 42}}, none,
        "nickname-ann.loginname-a1.userid-42.");
    row("empty values", {{nickname, QString()}, {text("loginName"), QString()}, {text("userId"), QString()}}, none,
        "nickname-N.loginname-L.userid-U.");
    row("other case", {{text("Nickname"), text("x")}, {text("loginname"), text("x")}, {text("userid"), text("x")}},
        none, "nickname-N.loginname-L.userid-U.");
    row("uploader's rooms", {}, lobby, "nickname-N.loginname-L.userid-U.roomid-7.roomname-lobby");
    row("own nickname, uploader's rooms", {{nickname, text("ann")}}, lobby,
        "nickname-ann.loginname-L.userid-U.roomid-7.roomname-lobby");
    row("one room", {{room, QVariantMap{{text("b"), text("x")}}}}, none,
        "nickname-N.loginname-L.userid-U.roomid-b.roomname-x");
    row("own rooms before the uploader's", {{room, QVariantMap{{text("b"), text("x")}}}}, lobby,
        "nickname-N.loginname-L.userid-U.roomid-b.roomname-x");
    row("two rooms sorted as texts", {{room, QVariantMap{{text("9"), text("Red")}, {text("12"), text("Blue")}}}}, lobby,
        "nickname-N.loginname-L.userid-U.roomid-12.roomname-Blue,nickname-N.loginname-L.userid-U.roomid-9.roomname-"
        "Red");
    row("empty map", {{room, QVariantMap()}}, lobby, "nickname-N.loginname-L.userid-U.roomid-7.roomname-lobby");
    row("a text instead of a map", {{room, text("lobby2")}}, lobby,
        "nickname-N.loginname-L.userid-U.roomid-7.roomname-lobby");
    row("number as name", {{room, QVariantMap{{text("b"), 12}}}}, none,
        "nickname-N.loginname-L.userid-U.roomid-b.roomname-12");
    row("non-ASCII", {{nickname, text("\xC3\xA9")}, {room, QVariantMap{{text("\xC3\xA4"), text("\xE4\xB8\xAD")}}}},
        none, "nickname-\xC3\xA9.loginname-L.userid-U.roomid-\xC3\xA4.roomname-\xE4\xB8\xAD");
    row("signs of the text itself", {{nickname, text("%1 \"x\", .")}}, none,
        "nickname-%1 \"x\", ..loginname-L.userid-U.");
}

void TestFileInfo::describesAGroup()
{
    QFETCH(const QVariantMap, group);
    QFETCH(const QVariantMap, rooms);
    for (auto entry = group.cbegin(); entry != group.cend(); ++entry)
        uploadini::set(QStringLiteral("log1/") + entry.key(), entry.value());
    TestUploader uploader;
    uploader.nickname = text("N");
    uploader.loginName = text("L");
    uploader.userId = text("U");
    uploader.roomMap = rooms;
    const MessageCatcher messages;
    QTEST(uploader.getFileInfo(text("log1")), "info");
    QCOMPARE(messages.messages().size(), 1);
}

void TestFileInfo::logsTheGroupWithItsDescription()
{
    TestUploader uploader;
    uploader.nickname = text("ann");
    const MessageCatcher messages;
    QCOMPARE(uploader.getFileInfo(text("log1")), text("nickname-ann.loginname-.userid-."));
    QCOMPARE(messageLines(messages), QStringList{text("QString KxUpload::getFileInfo(const QString&): "
                                                      "\"log1\" \"nickname-ann.loginname-.userid-.\"")});
}

void TestFileInfo::leavesTheGroupItHasRead()
{
    uploadini::write("[log1]\npath=/one\nnickname=ann\nsdk=1\n[log2]\npath=/two\n");
    TestUploader uploader;
    const MessageCatcher messages;
    uploader.getFileInfo(text("log1"));
    QCOMPARE(uploader.settings->group(), QString());
    uploader.getFileName(text("log1"));
    QCOMPARE(uploader.settings->group(), QString());
    QVERIFY(uploader.isSdkUp(text("log1")));
    QCOMPARE(uploader.settings->group(), QString());
    QCOMPARE(uploader.getFileName(text("log2")), text("/two"));
}

void TestFileInfo::namesTheFileOfAGroup_data()
{
    QTest::addColumn<QVariant>("path");
    QTest::addColumn<QString>("file"); ///< relative to the program's folder, unless it is absolute
    QTest::newRow("path") << QVariant(text("/a/b c.log")) << text("/a/b c.log");
    QTest::newRow("relative path") << QVariant(text("b.log")) << text("=b.log");
    QTest::newRow("non-ASCII path") << QVariant(text("/\xC3\xA9/\xE4\xB8\xAD.log"))
                                    << text("/\xC3\xA9/\xE4\xB8\xAD.log");
    QTest::newRow("no path") << QVariant() << text("logs/client_20200101.log");
    QTest::newRow("empty path") << QVariant(QString()) << text("logs/client_20200101.log");
}

void TestFileInfo::namesTheFileOfAGroup()
{
    QFETCH(const QVariant, path);
    QFETCH(QString, file);
    if (path.isValid())
        uploadini::set(text("client_20200101/path"), path);
    if (file.startsWith(QLatin1Char('=')))
        file.remove(0, 1);
    else if (!file.startsWith(QLatin1Char('/')))
        file.prepend(QCoreApplication::applicationDirPath() + QLatin1Char('/'));
    TestUploader uploader;
    const MessageCatcher messages;
    QCOMPARE(uploader.getFileName(text("client_20200101")), file);
    QCOMPARE(messageLines(messages), QStringList{QStringLiteral("QString KxUpload::getFileName(const QString&): \"") +
                                                 file + QLatin1Char('"')});
}

void TestFileInfo::recognisesSdkLogs_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::addColumn<bool>("sdk");
    QTest::newRow("1") << QByteArray("sdk=1") << true;
    QTest::newRow("quoted 1") << QByteArray("sdk=\"1\"") << true;
    QTest::newRow("0") << QByteArray("sdk=0") << false;
    QTest::newRow("2") << QByteArray("sdk=2") << false;
    QTest::newRow("-1") << QByteArray("sdk=-1") << false;
    QTest::newRow("11") << QByteArray("sdk=11") << false;
    QTest::newRow("empty") << QByteArray("sdk=") << false;
    QTest::newRow("word") << QByteArray("sdk=yes") << false;
    QTest::newRow("true") << QByteArray("sdk=true") << false;
    QTest::newRow("absent") << QByteArray("path=/x") << false;
    QTest::newRow("other case") << QByteArray("SDK=1") << false;
}

void TestFileInfo::recognisesSdkLogs()
{
    QFETCH(const QByteArray, value);
    uploadini::write("[log1]\n" + value + "\n[log2]\nsdk=1\n");
    TestUploader uploader;
    const MessageCatcher messages;
    QTEST(uploader.isSdkUp(text("log1")), "sdk");
    QCOMPARE(messages.messages().size(), 0);
}

QTEST_GUILESS_MAIN(TestFileInfo)
#include "tst_fileinfo.moc"
