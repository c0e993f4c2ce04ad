#include "support/files/fileio.h"
#include "support/tool/ownmounts.h"
#include "support/tool/toolsetup.h"
#include "support/wire/arrivals.h"
#include "support/wire/endpoints.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QTest>
#include <memory>

namespace {

/// What a small disk gives out at a time.
constexpr qint64 kPageBytes = 4096;
constexpr qint64 kDiskBytes = 64 * kPageBytes;
constexpr qint64 kGrowingPages = 8;

bool ownMounts = false;

} // namespace

/// Disks that are full or read-only.
class TestDiskTrouble : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        if (!ownMounts)
            QSKIP("this process may not mount anything");
        server_ = std::make_unique<ScriptedServer>(servicePort());
        QVERIFY(server_->isListening());
        sandbox_ = std::make_unique<Sandbox>();
        QVERIFY(sandbox_->isValid());
        config_ = sandbox_->appDirectory() + QStringLiteral("/config");
        filler_ = config_ + QStringLiteral("/filler");
    }
    void cleanup()
    {
        sandbox_.reset();
        server_.reset();
    }

    void keepsUploadIniOnAFullDisk_data()
    {
        QTest::addColumn<qint64>("left");
        QTest::newRow("no space at all") << qint64(0);
        QTest::newRow("space for the lock only") << kPageBytes;
        QTest::newRow("space for the lock and a third of upload.ini") << 2 * kPageBytes;
        QTest::newRow("space for all but the end of upload.ini") << 3 * kPageBytes;
    }
    void keepsUploadIniOnAFullDisk()
    {
        QFETCH(qint64, left);
        const Mount disk = Mount::smallDisk(config_, kDiskBytes);
        QVERIFY(disk.isValid());
        const QByteArray ini = addGroups();
        QVERIFY2(ini.size() > 2 * kPageBytes && ini.size() < 3 * kPageBytes, QByteArray::number(ini.size()));
        QVERIFY(fillDisk(filler_, left));
        run();
        checkEverythingArrived();
        QCOMPARE(sandbox_->iniBytes(), ini);
        QCOMPARE(filesBelow(config_), (QStringList{QStringLiteral("filler"), QStringLiteral("upload.ini")}));
        forgetsEverythingWithSpace();
    }

    /// Qt writes some characters as four, such as "\x1f".
    void keepsUploadIniThatNeedsMoreSpaceThanBefore_data()
    {
        QTest::addColumn<qint64>("left");
        QTest::newRow("space for more than twice as much") << 28 * kPageBytes;
        QTest::newRow("space for all but the lock") << 4 * kGrowingPages * kPageBytes;
    }
    void keepsUploadIniThatNeedsMoreSpaceThanBefore()
    {
        QFETCH(qint64, left);
        const Mount disk = Mount::smallDisk(config_, kDiskBytes);
        QVERIFY(disk.isValid());
        QVERIFY(!addLog(*sandbox_, QStringLiteral("a"), "text").isEmpty());
        QByteArray ini = sandbox_->iniBytes() + "[system]\nuserId=42\nlong=a";
        ini += QByteArray(static_cast<int>(kGrowingPages * kPageBytes) - ini.size() - 2, '\x1f') + "b\n";
        QVERIFY(sandbox_->writeRawIni(ini));
        QVERIFY(fillDisk(filler_, left));
        run();
        QCOMPARE(arrivedNames(*server_), (QStringList{QStringLiteral("a.log"), QStringLiteral("own log")}));
        QCOMPARE(sandbox_->iniBytes(), ini);
        QCOMPARE(filesBelow(config_), (QStringList{QStringLiteral("filler"), QStringLiteral("upload.ini")}));
        QFile::remove(filler_);
        run();
        QCOMPARE(sandbox_->groups(), QStringList(QStringLiteral("system")));
    }

    void forgetsWhatWasKeptAsSoonAsThereIsSpace_data()
    {
        QTest::addColumn<int>("request"); ///< during which space is made
        QTest::newRow("before the last file") << 2;
        QTest::newRow("before the end") << 3;
    }
    void forgetsWhatWasKeptAsSoonAsThereIsSpace()
    {
        QFETCH(int, request);
        QList<Reply> script{Reply::json(), Reply::json(), Reply::json(), Reply::json()};
        script[request] = Reply::json().onHeaders([this] { QFile::remove(filler_); });
        server_.reset();
        server_ = std::make_unique<ScriptedServer>(servicePort(), script);
        QVERIFY(server_->isListening());
        const Mount disk = Mount::smallDisk(config_, kDiskBytes);
        QVERIFY(disk.isValid());
        QVERIFY(!addGroups().isEmpty());
        QVERIFY(fillDisk(filler_, 0));
        run();
        checkEverythingArrived();
        QCOMPARE(sandbox_->groups(), (QStringList{QStringLiteral("room"), QStringLiteral("system")}));
        QCOMPARE(sandbox_->ownLogText().count("cannot rewrite"), request);
    }

    void keepsUploadIniOnAReadOnlyDisk()
    {
        const QByteArray ini = addGroups();
        {
            const Mount disk = Mount::readOnly(config_);
            QVERIFY(disk.isValid());
            QVERIFY(!writeFile(filler_, "text"));
            run();
        }
        checkEverythingArrived();
        QCOMPARE(sandbox_->iniBytes(), ini);
        forgetsEverythingWithSpace();
    }

    void keepsUploadIniThatIsALinkToAFullDisk()
    {
        const QString folder = sandbox_->root() + QStringLiteral("/elsewhere");
        QVERIFY(QDir().mkpath(folder));
        const Mount disk = Mount::smallDisk(folder, kDiskBytes);
        QVERIFY(disk.isValid());
        const QByteArray ini = addGroups();
        const QString list = folder + QStringLiteral("/list.ini");
        QVERIFY(writeFile(list, ini));
        QVERIFY(QFile::remove(sandbox_->iniPath()) && QFile::link(list, sandbox_->iniPath()));
        filler_ = folder + QStringLiteral("/filler");
        QVERIFY(fillDisk(filler_, 2 * kPageBytes));
        run();
        checkEverythingArrived();
        QCOMPARE(readFile(list), ini);
        forgetsEverythingWithSpace();
        QVERIFY(QFileInfo(sandbox_->iniPath()).isSymLink());
        QCOMPARE(filesBelow(folder), QStringList(QStringLiteral("list.ini")));
    }

    void sendsAnEmptyOwnLogFromAFullDisk()
    {
        const Mount disk = Mount::smallDisk(sandbox_->home(), kDiskBytes);
        QVERIFY(disk.isValid());
        QVERIFY(!addGroups().isEmpty());
        QVERIFY(fillDisk(sandbox_->home() + QStringLiteral("/filler"), 0));
        run();
        checkEverythingArrived();
        QCOMPARE(arrivals(*server_).last().bytes, QByteArray());
        QCOMPARE(sandbox_->groups(), (QStringList{QStringLiteral("room"), QStringLiteral("system")}));
    }

private:
    /// Three groups, and rooms that make upload.ini take three pages. Returns its bytes.
    QByteArray addGroups() const
    {
        const bool added =
            addUser(*sandbox_) && !addLog(*sandbox_, QStringLiteral("a"), "text").isEmpty() &&
            !addLog(*sandbox_, QStringLiteral("b"), "sdk text", 1).isEmpty() &&
            !addLog(*sandbox_, QStringLiteral("c"), "text").isEmpty() && sandbox_->writeIni([](QSettings &ini) {
                for (int i = 100; i < 400; ++i)
                    ini.setValue(QStringLiteral("room/%1").arg(i), QStringLiteral("room with the number %1").arg(i));
            });
        return added ? sandbox_->iniBytes() : QByteArray();
    }

    void run() const
    {
        const ToolResult result = sandbox_->runTool({});
        QVERIFY2(result.isSuccess(), result.describe());
        QVERIFY2(result.elapsedMs < kPromptMs, result.describe());
    }

    void checkEverythingArrived() const
    {
        QCOMPARE(arrivedNames(*server_), (QStringList{QStringLiteral("a.log"), QStringLiteral("b.log"),
                                                      QStringLiteral("c.log"), QStringLiteral("own log")}));
    }

    void forgetsEverythingWithSpace() const
    {
        QFile::remove(filler_);
        run();
        QCOMPARE(sandbox_->groups(), (QStringList{QStringLiteral("room"), QStringLiteral("system")}));
    }

    std::unique_ptr<ScriptedServer> server_;
    std::unique_ptr<Sandbox> sandbox_;
    QString config_;
    QString filler_;
};

int main(int argc, char *argv[])
{
    ownMounts = enterOwnMounts();
    QCoreApplication application(argc, argv);
    TestDiskTrouble test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_disktrouble.moc"
