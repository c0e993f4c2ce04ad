#include "support/files/fileio.h"
#include "support/tool/toolsetup.h"
#include "support/wire/arrivals.h"
#include "support/wire/endpoints.h"

#include <QFile>
#include <QTest>
#include <atomic>
#include <functional>
#include <thread>

namespace {

constexpr int kMiB = 1024 * 1024;
/// Far more than the system's buffers take, so that most of the file is unread when the service stops reading.
constexpr int kFileBytes = 16 * kMiB;
constexpr int kHeldAtBytes = 4 * kMiB;

/// Bytes of which no two stretches are alike.
QByteArray numberedLines(int bytes)
{
    QByteArray text;
    text.reserve(bytes + 16);
    for (int line = 0; text.size() < bytes; ++line)
        text += QByteArray::number(line) + '\n';
    text.truncate(bytes);
    return text;
}

bool append(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::Append) && file.write(bytes) == bytes.size();
}

/// What happens to a file while it is sent. Returns whether it did.
using Change = std::function<bool(const QString &path)>;

bool grow(const QString &path)
{
    return append(path, numberedLines(kMiB));
}

bool growByOneByte(const QString &path)
{
    return append(path, "x");
}

bool shrinkToHalf(const QString &path)
{
    return QFile::resize(path, kFileBytes / 2);
}

bool loseTheLastByte(const QString &path)
{
    return QFile::resize(path, kFileBytes - 1);
}

bool cutToZero(const QString &path)
{
    return QFile::resize(path, 0);
}

bool deleteIt(const QString &path)
{
    return QFile::remove(path);
}

bool replaceByAnother(const QString &path)
{
    // std::rename, unlike Qt's, takes the place of what is there.
    const QString other = path + QStringLiteral(".new");
    return writeFile(other, "another file") &&
           std::rename(QFile::encodeName(other).constData(), QFile::encodeName(path).constData()) == 0;
}

bool moveAway(const QString &path)
{
    return QFile::rename(path, path + QStringLiteral(".1")) && writeFile(path, "the next log");
}

bool copyAndTruncate(const QString &path)
{
    return QFile::copy(path, path + QStringLiteral(".1")) && cutToZero(path) && append(path, "the log goes on");
}

} // namespace

Q_DECLARE_METATYPE(Change)

/// Files that their writer touches while they are sent.
class TestLiveFiles : public QObject
{
    Q_OBJECT

private slots:
    void sendsTheSnapshotOrKeepsTheGroup_data()
    {
        QTest::addColumn<Change>("change");
        QTest::addColumn<bool>("arrives");
        QTest::addColumn<int>("heldAt");
        const struct
        {
            const char *name;
            Change change;
            bool arrives;
        } changes[] = {
            {"grows", grow, true},
            {"grows by one byte", growByOneByte, true},
            {"shrinks to half", shrinkToHalf, false},
            {"loses its last byte", loseTheLastByte, false},
            {"truncated to zero", cutToZero, false},
            {"deleted", deleteIt, true},
            {"replaced by a rename", replaceByAnother, true},
            {"moved away", moveAway, true},
            {"copied and truncated", copyAndTruncate, false},
        };
        for (const auto &row : changes) {
            QTest::addRow("%s before its body", row.name) << row.change << row.arrives << 0;
            QTest::addRow("%s half-way", row.name) << row.change << row.arrives << kHeldAtBytes;
        }
    }
    void sendsTheSnapshotOrKeepsTheGroup()
    {
        QFETCH(Change, change);
        QFETCH(bool, arrives);
        QFETCH(int, heldAt);
        ScriptedServer server(servicePort(), {Reply::json().holdingAt(heldAt).untilAnotherRequest()});
        QVERIFY(server.isListening());
        const Sandbox sandbox;
        QVERIFY(addUser(sandbox));
        const QByteArray snapshot = numberedLines(kFileBytes);
        const QString live = addLog(sandbox, QStringLiteral("a_live"), snapshot);
        QVERIFY(!addLog(sandbox, QStringLiteral("b_next"), "next").isEmpty());

        const auto run = sandbox.startTool({});
        QVERIFY(server.waitForHold());
        QVERIFY(change(live));
        // Qt may send the request again, and that one is held as well.
        for (int repeats = 0; repeats < 10; ++repeats)
            server.release();
        const ToolResult result = run->finish();
        QVERIFY2(result.isSuccess(), result.describe());

        const QStringList others{QStringLiteral("b_next.log"), QStringLiteral("own log")};
        QCOMPARE(arrivedNames(server), arrives ? QStringList(QStringLiteral("a_live.log")) + others : others);
        if (arrives)
            QVERIFY(arrivals(server).first().bytes == snapshot);
        QCOMPARE(sandbox.groups().contains(QStringLiteral("a_live")), !arrives);
        QVERIFY(!sandbox.groups().contains(QStringLiteral("b_next")));
    }

    void keepsASdkLogThatShrinks()
    {
        ScriptedServer server(servicePort(), {Reply::json().holdingAt(kHeldAtBytes)});
        QVERIFY(server.isListening());
        const Sandbox sandbox;
        QVERIFY(addUser(sandbox));
        const QString live = addLog(sandbox, QStringLiteral("live"), numberedLines(kFileBytes), 1);
        const auto run = sandbox.startTool({});
        QVERIFY(server.waitForHold());
        QVERIFY(shrinkToHalf(live));
        server.release();
        const ToolResult result = run->finish();
        QVERIFY2(result.isSuccess(), result.describe());
        QVERIFY(QFile::exists(live));
        QCOMPARE(sandbox.groups(), (QStringList{QStringLiteral("live"), QStringLiteral("system")}));
        QCOMPARE(arrivedNames(server), QStringList{QStringLiteral("own log")});
    }

    void sendsTheSnapshotOfAFileThatIsWrittenAllTheTime()
    {
        const ScriptedServer server(servicePort(), {Reply::json().readingSlowly(64 * 1024, 1)});
        QVERIFY(server.isListening());
        const Sandbox sandbox;
        QVERIFY(addUser(sandbox));
        const QByteArray start = numberedLines(kFileBytes);
        const QString live = addLog(sandbox, QStringLiteral("live"), start);
        std::atomic<bool> stop{false};
        std::atomic<bool> wrote{true};
        std::thread writer([&] {
            while (!stop)
                wrote = wrote && append(live, "one more record\n");
        });
        const ToolResult result = sandbox.runTool({});
        stop = true;
        writer.join();

        QVERIFY2(result.isSuccess(), result.describe());
        QVERIFY(wrote);
        const QList<Arrival> arrived = arrivals(server);
        QCOMPARE(arrived.size(), 2);
        const QByteArray &bytes = arrived.first().bytes;
        QVERIFY(bytes.startsWith(start));
        QVERIFY(readFile(live).startsWith(bytes));
        QCOMPARE(sandbox.groups(), QStringList{QStringLiteral("system")});
    }
};

QTEST_GUILESS_MAIN(TestLiveFiles)
#include "tst_livefiles.moc"
