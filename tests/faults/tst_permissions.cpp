#include "otheruser.h"
#include "support/tool/toolsetup.h"
#include "support/wire/arrivals.h"
#include "support/wire/endpoints.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTest>
#include <memory>

namespace {

const QFile::Permissions kNone;
const QFile::Permissions kReadOnly = QFile::ReadOwner;
const QFile::Permissions kReadOnlyFolder = QFile::ReadOwner | QFile::ExeOwner;
const QFile::Permissions kAll = QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner;

} // namespace

/// Folders and files that the tool may not read or write.
class TestPermissions : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        if (!OtherUser::isAvailable())
            QSKIP("the superuser is above permissions, and the tool cannot be run as another user here");
        sandbox_ = std::make_unique<Sandbox>();
        QVERIFY(addUser(*sandbox_));
        QVERIFY(!addLog(*sandbox_, QStringLiteral("a"), "text").isEmpty());
        sdkLog_ = addLog(*sandbox_, QStringLiteral("b"), "sdk text", 1);
        config_ = sandbox_->appDirectory() + QStringLiteral("/config");
        ini_ = sandbox_->iniBytes();
        QVERIFY(OtherUser::give(sandbox_->root()));
        server_ = std::make_unique<ScriptedServer>(servicePort());
        QVERIFY(server_->isListening());
    }
    void cleanup()
    {
        // Nothing may be in the way of the removal.
        if (sandbox_) {
            QFile::setPermissions(config_, kAll);
            QFile::setPermissions(sandbox_->home(), kAll);
            QFile::setPermissions(QFileInfo(sdkLog_).path(), kAll);
        }
        server_.reset();
        sandbox_.reset();
    }

    void ofTheConfigFolderKeepTheGroups_data()
    {
        QTest::addColumn<bool>("folderToo");
        QTest::newRow("only upload.ini is read-only") << false;
        QTest::newRow("the whole folder is read-only") << true;
    }
    void ofTheConfigFolderKeepTheGroups()
    {
        QFETCH(bool, folderToo);
        QVERIFY(QFile::setPermissions(sandbox_->iniPath(), kReadOnly));
        QVERIFY(!folderToo || QFile::setPermissions(config_, kReadOnlyFolder));
        run();
        QCOMPARE(arrivedNames(*server_),
                 (QStringList{QStringLiteral("a.log"), QStringLiteral("b.log"), QStringLiteral("own log")}));
        QCOMPARE(sandbox_->iniBytes(), ini_);
        QCOMPARE(filesBelow(config_), QStringList(QStringLiteral("upload.ini")));
        QVERIFY(!QFile::exists(sdkLog_));

        // The next run cannot know what was accepted; the one after the repair forgets everything.
        run();
        QCOMPARE(sentFileNames(*server_).mid(3), (QStringList{QStringLiteral("a.log"), QStringLiteral("own log")}));
        QCOMPARE(sandbox_->iniBytes(), ini_);
        QVERIFY(QFile::setPermissions(config_, kAll));
        QVERIFY(QFile::setPermissions(sandbox_->iniPath(), kAll));
        run();
        QCOMPARE(sandbox_->groups(), QStringList(QStringLiteral("system")));
    }

    void ofUploadIniMakeItAnEmptyOneThatStaysAsItIs()
    {
        QVERIFY(QFile::setPermissions(sandbox_->iniPath(), kNone));
        run();
        QVERIFY(server_->requests().isEmpty());
        QVERIFY(QFile::setPermissions(sandbox_->iniPath(), kAll));
        QCOMPARE(sandbox_->iniBytes(), ini_);
    }

    void ofUploadIniThatGoWithAChangeKeepTheGroups()
    {
        server_.reset();
        ini_ += "[system2]\nadded=1\n";
        const Reply reply = Reply::json().onHeaders([this] {
            sandbox_->writeRawIni(ini_);
            QFile::setPermissions(sandbox_->iniPath(), kNone);
        });
        server_ = std::make_unique<ScriptedServer>(servicePort(), QList<Reply>{reply});
        QVERIFY(server_->isListening());
        run();
        QCOMPARE(arrivedNames(*server_),
                 (QStringList{QStringLiteral("a.log"), QStringLiteral("b.log"), QStringLiteral("own log")}));
        QVERIFY(QFile::setPermissions(sandbox_->iniPath(), kAll));
        QCOMPARE(sandbox_->iniBytes(), ini_);
        QCOMPARE(sandbox_->ownLogText().count("cannot rewrite"), 2);
    }

    void ofListedFilesCostThemTheirGroups_data()
    {
        QTest::addColumn<bool>("folderToo");
        QTest::addColumn<QString>("record");
        QTest::newRow("only the files are closed") << false << QStringLiteral("]open file failed");
        QTest::newRow("their folder is closed") << true << QStringLiteral("uploadList()]true");
    }
    void ofListedFilesCostThemTheirGroups()
    {
        QFETCH(bool, folderToo);
        QFETCH(QString, record);
        const QString folder = QFileInfo(sdkLog_).path();
        for (const QString &name : {QStringLiteral("/a.log"), QStringLiteral("/b.log")})
            QVERIFY(QFile::setPermissions(folder + name, kNone));
        QVERIFY(!folderToo || QFile::setPermissions(folder, kNone));
        run();
        QVERIFY(QFile::setPermissions(folder, kAll));
        QCOMPARE(arrivedNames(*server_), QStringList(QStringLiteral("own log")));
        QCOMPARE(sandbox_->groups(), QStringList(QStringLiteral("system")));
        QCOMPARE(filesBelow(folder), (QStringList{QStringLiteral("a.log"), QStringLiteral("b.log")}));
        QCOMPARE(sandbox_->ownLogText().count(record.toUtf8()), 2);
    }

    void ofTheHomeCostTheOwnLogOnly()
    {
        QVERIFY(QFile::setPermissions(sandbox_->home(), kNone));
        run();
        QCOMPARE(arrivedNames(*server_), (QStringList{QStringLiteral("a.log"), QStringLiteral("b.log")}));
        QCOMPARE(sandbox_->groups(), QStringList(QStringLiteral("system")));
        QVERIFY(QFile::setPermissions(sandbox_->home(), kAll));
        QCOMPARE(filesBelow(sandbox_->home()), QStringList());
    }

private:
    void run()
    {
        const ToolResult result = sandbox_->runTool({}, 6 * kPromptMs, OtherUser::options());
        QVERIFY2(result.isSuccess(), result.describe());
        QVERIFY2(result.elapsedMs < kPromptMs, result.describe());
    }

    std::unique_ptr<Sandbox> sandbox_;
    std::unique_ptr<ScriptedServer> server_;
    QString config_;
    QString sdkLog_;
    QByteArray ini_;
};

QTEST_GUILESS_MAIN(TestPermissions)
#include "tst_permissions.moc"
