#include "seed.h"
#include "store/descriptiontext.h"

#include <QtTest/QtTest>

namespace {

/// What has been split, in one line: values in brackets, "raw" when the text cannot be split.
QByteArray inBrackets(const std::string &text)
{
    const auto description = splitDescription(text);
    if (!description)
        return "raw";
    std::string line = "[" + description->nickname + "][" + description->loginName + "][" + description->userId + "]";
    for (const auto &room : description->rooms)
        line += " [" + room.id + "=" + room.name + "]";
    return QByteArray::fromStdString(line);
}

QByteArray repeated(const char *text, int count)
{
    return QByteArray(text).repeated(count);
}

} // namespace

class TestDescriptionText : public QObject
{
    Q_OBJECT

private slots:
    void splitsUserAndRooms_data();
    void splitsUserAndRooms();
    void finds1000Rooms();
    void givesBackWhatWasPutTogether();
    void survivesAnyText();
    void staysQuickWithTextsMadeToBeSlow();
};

void TestDescriptionText::splitsUserAndRooms_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("split");
    const auto add = [](const char *row, const QByteArray &text, const QByteArray &split) {
        QTest::newRow(row) << text << split;
    };
    add("two rooms",
        "nickname-ann.loginname-a1.userid-7.roomid-12.roomname-Blue,"
        "nickname-ann.loginname-a1.userid-7.roomid-9.roomname-Red",
        "[ann][a1][7] [12=Blue] [9=Red]");
    add("no rooms", "nickname-ann.loginname-a1.userid-7.", "[ann][a1][7]");
    add("empty labels", "nickname-.loginname-.userid-.", "[][][]");
    add("empty labels and a room", "nickname-.loginname-.userid-.roomid-.roomname-", "[][][] [=]");
    add("no login name", "nickname-ann.userid-42.roomid-7.roomname-lobby,nickname-ann.userid-42.roomid-9.roomname-talk",
        "[ann][][42] [7=lobby] [9=talk]");
    add("nickname only", "nickname-ann.", "[ann][][]");
    add("user id only", "userid-42.roomid-7.roomname-x", "[][][42] [7=x]");
    add("rooms only", "roomid-7.roomname-lobby,roomid-9.roomname-talk", "[][][] [7=lobby] [9=talk]");
    add("not ASCII", "nickname-Zo\xc3\xab.loginname-z.userid-1.roomid-1.roomname-\xe4\xbc\x9a",
        "[Zo\xc3\xab][z][1] [1=\xe4\xbc\x9a]");
    add("points in values", "nickname-a.b..loginname-c.d.userid-1.2.roomid-3.4.roomname-5.6.",
        "[a.b.][c.d][1.2] [3.4=5.6.]");
    add("commas in values", "nickname-a,b.userid-1.roomid-7.roomname-x,y,nickname-a,b.userid-1.roomid-8.roomname-,",
        "[a,b][][1] [7=x,y] [8=,]");
    add("another's entry in a room name", "userid-1.roomid-7.roomname-x,userid-2.roomid-8.roomname-y",
        "[][][1] [7=x,userid-2.roomid-8.roomname-y]");
    add("markup", "nickname-<b>\"&'.userid-1.", "[<b>\"&'][][1]");
    add("label in a value", "nickname-x.userid-y.userid-1.", "[x][][y.userid-1]");
    add("label without its point in a value", "nickname-roomid-userid-1.userid-2.", "[roomid-userid-1][][2]");
    add("nothing", "", "raw");
    add("other text", "hello", "raw");
    add("label alone", "nickname-", "raw");
    add("no point at the end", "nickname-ann", "raw");
    add("text in front", "x nickname-ann.", "raw");
    add("text behind the user", "nickname-ann.userid-1.x", "raw");
    add("labels in another order", "userid-1.nickname-ann.", "[][][1.nickname-ann]");
    add("capital labels", "Nickname-ann.", "raw");
    add("room without a name", "userid-1.roomid-7", "raw");
    add("second room without a name", "userid-1.roomid-7.roomname-x,userid-1.roomid-8", "raw");
    add("room name in front of its id", "userid-1.roomname-x.roomid-7", "raw");
    add("too long", "nickname-" + QByteArray(64 * 1024, 'x') + ".", "raw");
}

void TestDescriptionText::splitsUserAndRooms()
{
    QFETCH(QByteArray, text);
    QFETCH(QByteArray, split);
    QCOMPARE(inBrackets(text.toStdString()), split);
}

void TestDescriptionText::finds1000Rooms()
{
    std::string text;
    for (int i = 0; i < 1000; ++i)
        text += (i > 0 ? "," : "") + std::string("nickname-ann.userid-1.roomid-") + std::to_string(i) + ".roomname-r";
    const auto description = splitDescription(text);
    QVERIFY(description.has_value());
    QCOMPARE(int(description->rooms.size()), 1000);
    QCOMPARE(description->rooms.back().id, std::string("999"));
}

/// Values without the labels and without the separator survive whatever else they hold.
void TestDescriptionText::givesBackWhatWasPutTogether()
{
    auto random = seededRandom();
    const auto value = [&random] {
        std::string text;
        for (auto length = random() % 6; length > 0; --length)
            text += ".,-ab <\xc3\n"[random() % 9];
        return text;
    };
    for (int round = 0; round < 2000; ++round) {
        const auto nickname = value();
        const auto userId = value();
        const auto identity = "nickname-" + nickname + ".loginname-.userid-" + userId + ".";
        auto expected = "[" + nickname + "][][" + userId + "]";
        std::string text;
        for (unsigned room = 0; room < random() % 4; ++room) {
            const auto name = value();
            text += (text.empty() ? "" : ",") + identity + "roomid-" + std::to_string(room) + ".roomname-" + name;
            expected += " [" + std::to_string(room) + "=" + name + "]";
        }
        QCOMPARE(inBrackets(text.empty() ? identity : text), QByteArray::fromStdString(expected));
    }
}

void TestDescriptionText::survivesAnyText()
{
    auto random = seededRandom();
    const std::vector<std::string> pieces = {"nickname-", "loginname-", "userid-",  "roomid-", "roomname-",
                                             ".",         ".roomname-", ".roomid-", ",",       std::string(1, 0),
                                             "\xff",      "x"};
    int splitCount = 0;
    for (int round = 0; round < 20000; ++round) {
        std::string text;
        for (auto length = random() % 12; length > 0; --length)
            text += pieces[random() % pieces.size()];
        const auto description = splitDescription(text);
        splitCount += description ? 1 : 0;
        // What was split is no more than what was there.
        if (description) {
            auto bytes = description->nickname.size() + description->loginName.size() + description->userId.size();
            for (const auto &room : description->rooms)
                bytes += room.id.size() + room.name.size();
            QVERIFY(bytes < text.size());
        }
    }
    QVERIFY(splitCount > 0);
}

void TestDescriptionText::staysQuickWithTextsMadeToBeSlow()
{
    QElapsedTimer timer;
    timer.start();
    for (const QByteArray &text :
         {repeated(".roomid-", 8000), repeated("nickname-", 7000), "nickname-" + repeated(",nickname-", 6000) + ".",
          "nickname-" + repeated(",nickname-", 3000) + ".roomid-.roomname-" + repeated(",nickname-", 3000),
          "roomid-.roomname-" + repeated(",roomid-.roomname-", 3000), repeated(".loginname-", 5000)})
        splitDescription(text.toStdString());
    QVERIFY2(timer.elapsed() < 5000, QByteArray::number(timer.elapsed()).constData());
}

QTEST_GUILESS_MAIN(TestDescriptionText)
#include "tst_descriptiontext.moc"
