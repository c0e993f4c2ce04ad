#include "damage.h"
#include "ini/uploadlist.h"
#include "support/files/fileio.h"
#include "support/files/utf8settings.h"
#include "support/process/apprun.h"
#include "support/process/failingopen.h"
#include "support/process/messagecatcher.h"
#include "support/uploader/testuploader.h"
#include "support/uploader/text.h"
#include "support/uploader/uploadini.h"

#include <QBitArray>
#include <QCoreApplication>
#include <QDir>
#include <QEasingCurve>
#include <QFileInfo>
#include <QLine>
#include <QLocale>
#include <QRect>
#include <QTest>
#include <QTimeZone>
#include <QUrl>
#include <QUuid>

namespace {

/// One value of every kind that settings objects of this program can write.
QVariantMap allKindsOfValues()
{
    const QDateTime time(QDate(2024, 2, 29), QTime(1, 2, 3, 4), Qt::UTC);
    const QVariantMap rooms{{text("12"), text("Blue, \"green\"; \n")}, {text("9"), 7}, {text("x"), QVariant()}};
    const QVariant values[] = {true,
                               1,
                               1U,
                               qint64(-1),
                               quint64(1),
                               1.5,
                               1.5F,
                               QChar(0x20ac),
                               QVariant::fromValue(short(1)),
                               text("text"),
                               text("Zo\xc3\xab, \"a\"; b=c \\ \t\n@"),
                               text("@Variant(x)"),
                               text("@@"),
                               text("@DateTime(\x01)"),
                               QString(),
                               QByteArray("\0x\xff", 3),
                               QStringList{text("a"), QString(), text("@")},
                               QVariantList{1, text("a"), rooms},
                               rooms,
                               QVariantHash{{text("a"), 1.5}},
                               QVariantMap{{text("id"), QUuid(text("{12345678-0-0-0-0}"))}, {text("t"), time}},
                               QUuid(text("{12345678-1234-1234-1234-123456789abc}")),
                               QUrl(text("http://a/\xc3\xa4")),
                               QLocale(QLocale::German),
                               QDate(2024, 2, 29),
                               QTime(1, 2),
                               time,
                               time.toOffsetFromUtc(3600),
                               QDateTime(time.date(), time.time()),
                               time.toTimeZone(QTimeZone("Europe/Berlin")),
                               QRect(1, 2, 3, 4),
                               QRectF(1, 2, 3, 4),
                               QLine(1, 2, 3, 4),
                               QLineF(1, 2, 3, 4),
                               QSize(1, 2),
                               QSizeF(1, 2),
                               QPoint(1, 2),
                               QPointF(1, 2),
                               QBitArray(9, true),
                               QRegularExpression(text("a+")),
                               QEasingCurve(QEasingCurve::InBounce),
                               QVariant()};
    QVariantMap all;
    for (const QVariant &value : values)
        all.insert(QString::number(100 + all.size()), value);
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    all.insert(QString::number(100 + all.size()), QRegExp(text("a+")));
#endif
    return all;
}

/// A list as a client writes it, with a group "log1" in front, and its bytes without that group.
struct WrittenList
{
    QByteArray bytes;
    QByteArray without;
};

WrittenList listOf(const QVariantMap &values)
{
    // Within a map settings objects write times without their zones, and read them as local ones.
    QVariantMap inMap;
    for (auto value = values.cbegin(); value != values.cend(); ++value) {
        if (value->userType() != QMetaType::QDateTime || value->toDateTime().timeSpec() == Qt::UTC)
            inMap.insert(value.key(), value.value());
    }
    const auto write = [&](bool withGroup) {
        const QTemporaryDir folder;
        const QString path = folder.filePath(text("a.ini"));
        {
            QSettings settings(path, QSettings::IniFormat);
            useUtf8AsClientsDo(settings);
            if (withGroup)
                settings.setValue(text("log1/path"), text("/a"));
            for (auto value = values.cbegin(); value != values.cend(); ++value)
                settings.setValue(text("system/") + value.key(), value.value());
            settings.setValue(text("log2/room"), inMap);
        }
        return readFile(path);
    };
    return {write(true), write(false)};
}

QStringList filesBesideTheProgram()
{
    return QFileInfo(uploadini::path()).dir().entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
}

} // namespace

/// How the client's list is read and rewritten.
class TestUploadList : public QObject
{
    Q_OBJECT

private slots:
    void cleanup() { QDir(QFileInfo(uploadini::path()).path()).removeRecursively(); }

    void changesNothingButTheGroupThatIsGivenUp()
    {
        const WrittenList list = listOf(allKindsOfValues());

        QVERIFY(list.without.contains("@Variant(") && list.without.contains("@DateTime("));
        uploadini::write(list.bytes);
        TestUploader uploader;
        uploader.initIni();
        QCOMPARE(readFile(uploadini::path()), list.bytes);
        uploader.finishedOneFile(text("log1"));
        QCOMPARE(readFile(uploadini::path()), list.without);
        QCOMPARE(filesBesideTheProgram(), QStringList(text("upload.ini")));
    }

    void readsMapsOfEveryKindAsRooms()
    {
        const QUuid id(text("{12345678-1234-1234-1234-123456789abc}"));
        uploadini::set(text("log1/room"), QVariantMap{{text("7"), id}});
        TestUploader uploader;
        uploader.roomMap.insert(text("9"), text("of all"));
        QCOMPARE(uploader.getFileInfo(text("log1")),
                 text("nickname-.loginname-.userid-.roomid-7.roomname-") + id.toString());
    }

    void readsTextsAsTheyStand()
    {
        uploadini::write("[system]\nnickname=me@Variant(x\n[log1]\npath=/logs/a@Variant(1).log\n"
                         "[log2]\npath=@Variant(2\n[log3]\npath=@DateTime(3.log\n");
        TestUploader uploader;
        uploader.initIni();
        QCOMPARE(uploader.nickname, text("me@Variant(x"));
        QCOMPARE(uploader.getFileName(text("log1")), text("/logs/a@Variant(1).log"));
        QCOMPARE(uploader.getFileName(text("log2")), text("@Variant(2"));
        QCOMPARE(uploader.getFileName(text("log3")), text("@DateTime(3.log"));
    }

    void keepsEveryCharacter()
    {
        const QString face = text("Zo\xc3\xab \xf0\x9f\x98\x80");
        const QByteArray key = "[%U"
                               "D83D%UDE00]\n%UD83D%UDE00=";
        const QByteArray rest = "[system]\nhalf=a\\xd83d\nlist=\xf0\x9f\x98\x80, \xf0\x9f\x98\x80x\n"
                                "nickname=Zo\xc3\xab \xf0\x9f\x98\x80\nother=\xf0\x9f\x98\x80\xf0\x9f\x98\x81 b\n";
        uploadini::write(key + "\xf0\x9f\x98\x80\n[log1]\npath=/a\n[log2]\npath=/b\n" + rest);
        QVariantMap expected = uploadini::values();
        QCOMPARE(expected.value(text("system/nickname")), QVariant(face));
        TestUploader uploader;
        for (const char *group : {"log1", "log2"}) {
            uploader.finishedOneFile(text(group));
            expected.remove(text(group) + text("/path"));
            // A half that stands alone is no character.
            expected.insert(text("system/half"), text("a"));
            QCOMPARE(uploadini::values(), expected);
        }
        QVERIFY(readFile(uploadini::path()).contains("nickname=Zo\xc3\xab \xf0\x9f\x98\x80\n"));
    }

    void passesOverDamage_data()
    {
        QTest::addColumn<QByteArray>("damage");
        QTest::addColumn<QStringList>("readable"); ///< of log1, room and log3
        const QStringList all{text("log1"), text("log3"), text("room")};
        const QByteArray deep = nestedLists(100000);
        const auto inTheMiddle = [](const QByteArray &value) { return "[log2]\nroom=" + value + '\n'; };
        // Qt 6 reads these as no value, and takes no memory for them.
        if (QT_VERSION < QT_VERSION_CHECK(6, 0, 0)) {
            QTest::newRow("huge list") << inTheMiddle(hugeList()) << all;
            QTest::newRow("huge list, escaped") << inTheMiddle(hugeList().replace("@", "\\x40")) << all;
            QTest::newRow("huge list in a list") << inTheMiddle("a, " + hugeList()) << all;
            QTest::newRow("huge list of lists") << inTheMiddle(hugeList().replace("\\v", "\\t")) << all;
            QTest::newRow("huge list in the rooms") << "7=" + hugeList() + '\n' << QStringList(all.mid(0, 2));
            QTest::newRow("huge list in a nested group") << "[log2/inner]\nroom=" + hugeList() + '\n' << all;
            QTest::newRow("huge list without a group") << "[General]\nroom=" + hugeList() + '\n' << all;
        }
        QTest::newRow("deep lists") << inTheMiddle(deep) << QStringList();
        QTest::newRow("deep lists in quotes") << inTheMiddle('"' + deep + '"') << QStringList();
        QTest::newRow("deep lists in many lines")
            << inTheMiddle(QByteArray(deep).replace("\\x1", "\\x1\\\r\n")) << QStringList();
        QTest::newRow("time without its zone") << inTheMiddle(timeWithoutZone()) << all;
        QTest::newRow("time without its zone in a list") << inTheMiddle("a, " + timeWithoutZone()) << all;
    }
    void passesOverDamage()
    {
        QFETCH(const QByteArray, damage);
        QFETCH(const QStringList, readable);
        const QByteArray ini =
            "[log1]\npath=/a\n[room]\n9=talk\n" + damage + "[system]\nnickname=ann\n[log3]\npath=/c\n";
        uploadini::write(ini);
        MessageCatcher messages;
        TestUploader uploader;
        uploader.initIni();
        QVERIFY2(readable.isEmpty() || uploader.nickname == text("ann"), qPrintable(uploader.nickname));
        for (const char *group : {"log1", "log3"})
            QCOMPARE(uploader.fileGroups.contains(text(group)), readable.contains(text(group)));
        // A group within a group is no file to send, damaged or not.
        QCOMPARE(uploader.fileGroups.filter(text("/")), QStringList());
        if (readable.contains(text("log1")))
            QCOMPARE(uploader.getFileName(text("log1")), text("/a"));
        QCOMPARE(uploader.roomMap.value(text("9")).toString(),
                 readable.contains(text("room")) ? text("talk") : QString());
        uploader.finishedOneFile(text("log1"));
        QCoreApplication::sendPostedEvents();
        QCOMPARE(readFile(uploadini::path()), ini);
        QVERIFY(messages.contains(text("cannot rewrite \"") + uploadini::path() + QLatin1Char('"')));
        delete uploader.settings;
        QCOMPARE(readFile(uploadini::path()), ini);
    }

    void passesOverDamageOfLater_data() { passesOverDamage_data(); }
    void passesOverDamageOfLater()
    {
        QFETCH(const QByteArray, damage);
        const QByteArray ini = "[log1]\npath=/a\n[log2]\npath=/b\n[log3]\npath=/c\n[log4]\npath=/d\n[room]\n9=talk\n";
        uploadini::write(ini);
        MessageCatcher messages;
        TestUploader uploader;
        uploader.initIni();
        uploadini::append(damage);
        uploader.finishedOneFile(text("log1"));
        QCoreApplication::sendPostedEvents();
        QCOMPARE(readFile(uploadini::path()), ini + damage);
        QCOMPARE(uploader.getFileName(text("log3")), text("/c"));
        QVERIFY(messages.contains(text("cannot rewrite \"") + uploadini::path() + QLatin1Char('"')));

        // The client repairs its list: what was kept goes with the next one.
        uploadini::write(ini + "[log5]\npath=/e\n");
        uploader.finishedOneFile(text("log3"));
        QCOMPARE(uploadini::groups(), (QStringList{text("log2"), text("log4"), text("log5"), text("room")}));
    }

    void readsALongListOfShortLines()
    {
        // Quotes in comments are no quotes, and a long value that is no serialised one does no harm.
        QByteArray ini = "; 3.5\" disks\n[system]\nnickname=ann\nlong=" + QByteArray(200000, 'x') + '\n';
        // An escaped backslash at the end of a line does not make it go on.
        for (int i = 0; i < 3000; ++i)
            ini += "folder" + QByteArray::number(i) + "=C:\\\\logs\\\\a@b\\\\\n";
        for (int i = 0; i < 3000; ++i)
            ini += "[log" + QByteArray::number(i) + "]\npath=\"C:\\\\logs\\\\a@b\\\\\" ; it's \"\n";
        uploadini::write(ini);
        TestUploader uploader;
        uploader.initIni();
        QCOMPARE(uploader.nickname, text("ann"));
        QCOMPARE(uploader.fileGroups.size(), 3000);
    }

    void triesKeptGroupsAgain_data()
    {
        QTest::addColumn<bool>("atTheEnd");
        QTest::newRow("with the next one") << false;
        QTest::newRow("when the application quits") << true;
    }
    void triesKeptGroupsAgain()
    {
        QFETCH(const bool, atTheEnd);
        const QByteArray ini = "no key\n[log1]\npath=/a\n[log2]\npath=/b\n[log3]\npath=/c\n";
        uploadini::write(ini);
        MessageCatcher messages;
        TestUploader uploader;
        uploader.initIni();
        // Settings objects look at an existing file by opening it: it is looked at once, and then it cannot be written.
        int readsBefore = 1;
        // The last one is not there: what was not removed before still is not.
        for (const char *group : {"log1", "log2", "log9"}) {
            failingopen::failAfter(uploadini::path(), readsBefore, 1);
            readsBefore = 0;
            uploader.finishedOneFile(text(group));
            QCOMPARE(messages.texts().last(), text("cannot rewrite \"") + uploadini::path() + QLatin1Char('"'));
        }
        QCOMPARE(messages.texts().filter(text("cannot rewrite")).size(), 3);
        // Not by itself: whether there is space has to be asked before.
        QCoreApplication::sendPostedEvents();
        QCOMPARE(readFile(uploadini::path()), ini);

        const int before = messages.texts().size();
        if (atTheEnd) {
            QCOMPARE(runApplication([] { QCoreApplication::quit(); }), RunEnd::Quit);
            QCOMPARE(uploadini::groups(), QStringList(text("log3")));
        } else {
            uploader.finishedOneFile(text("log3"));
            QCOMPARE(uploadini::groups(), QStringList());
        }
        QCOMPARE(messages.texts().size(), before);
    }

    void saysThatAGroupIsGoneWhichIsNotThere()
    {
        uploadini::write("no key\n[log2]\npath=/b\n");
        MessageCatcher messages;
        TestUploader uploader;
        uploader.finishedOneFile(text("log1"));
        uploader.finishedOneFile(text(""));
        QCOMPARE(messages.texts(), QStringList());
        QCOMPARE(readFile(uploadini::path()), QByteArray("no key\n[log2]\npath=/b\n"));
    }

    void leavesWhatTheClientHasBesideTheList()
    {
        uploadini::write("[log1]\npath=/a\n[log2]\npath=/b\n");
        const QString beside = uploadini::path() + text(".space");
        QVERIFY(writeFile(beside, "the client's"));
        TestUploader uploader;
        uploader.initIni();
        uploader.finishedOneFile(text("log1"));
        QCOMPARE(uploadini::groups(), QStringList(text("log2")));
        QCOMPARE(readFile(beside), QByteArray("the client's"));
        QCOMPARE(filesBesideTheProgram(), (QStringList{text("upload.ini"), text("upload.ini.space")}));
    }
};

QTEST_GUILESS_MAIN(TestUploadList)
#include "tst_uploadlist.moc"
