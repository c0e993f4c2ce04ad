#include "support/process/messagecatcher.h"
#include "support/uploader/testuploader.h"
#include "support/uploader/uploadini.h"

#include "support/process/apprun.h"

#include <QCoreApplication>
#include <QDir>
#include <QNetworkReply>
#include <QSettings>
#include <QTest>
#include <QThread>

namespace {

constexpr uint kStackBytes = 256 * 1024;
constexpr int kGroups = 3000;

/// Runs the log list in a thread with a small stack. No own log is open, so the list ends in a quit.
class ListRun : public QThread
{
public:
    explicit ListRun(const QString &group)
    {
        setStackSize(kStackBytes);
        for (int i = 0; i < kGroups; ++i)
            groups += group;
    }

    int left = -1;    ///< groups that were not taken up
    int uploads = -1; ///< requests that were made

protected:
    void run() override
    {
        TestUploader uploader;
        uploader.fileGroups = groups;
        uploader.uploadList();
        exec();
        left = uploader.fileGroups.size();
        uploads = uploader.findChildren<QNetworkReply *>().size();
        // They go with the application, but from its thread only.
        delete uploader.settings;
    }

private:
    QList<QString> groups;
};

} // namespace

class TestLogListDepth : public QObject
{
    Q_OBJECT

private slots:
    void takesUpThousandsOfGroupsOnASmallStack_data();
    void takesUpThousandsOfGroupsOnASmallStack();
};

void TestLogListDepth::takesUpThousandsOfGroupsOnASmallStack_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("message");
    QTest::newRow("missing") << QStringLiteral("missing") << QStringLiteral("true \"%1\"");
    QTest::newRow("empty") << QStringLiteral("empty") << QStringLiteral("\"%1\" is empty");
    QTest::newRow("directories") << QStringLiteral("directory") << QStringLiteral("open file failed \"%1\"");
}

void TestLogListDepth::takesUpThousandsOfGroupsOnASmallStack()
{
    QFETCH(const QString, kind);
    QFETCH(const QString, message);
    uploadini::write("[system]\nnickname=ann\n");
    const QString logs = QCoreApplication::applicationDirPath() + QStringLiteral("/logs");
    QVERIFY(QDir().mkpath(logs + QStringLiteral("/directory.log/inside")));
    QFile empty(logs + QStringLiteral("/empty.log"));
    QVERIFY(empty.open(QIODevice::WriteOnly | QIODevice::Truncate));
    empty.close();

    const MessageCatcher messages;
    ListRun list(kind);
    const RunEnd end = runApplication([&] { list.start(); }, {}, 60000);
    list.quit();
    QVERIFY(list.wait());
    uploadini::remove();
    QCOMPARE(end, RunEnd::Quit);
    QCOMPARE(list.left, 0);
    QCOMPARE(list.uploads, 0);
    QCOMPARE(messages.texts().count(message.arg(logs + QLatin1Char('/') + kind + QStringLiteral(".log"))), kGroups);
}

QTEST_GUILESS_MAIN(TestLogListDepth)
#include "tst_loglistdepth.moc"
