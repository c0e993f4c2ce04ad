#include "support/files/fileio.h"
#include "support/files/inifile.h"
#include "support/files/logrecords.h"
#include "support/server/scriptedserver.h"
#include "support/tool/toolsetup.h"
#include "support/wire/endpoints.h"
#include "support/wire/multipartform.h"

#include <QDir>
#include <QFileInfo>
#include <QSettings>
#include <QTest>
#include <memory>

namespace {

const char kIdentity[] = "nickname-J\xc3\xbcrgen \xe4\xb8\xad.loginname-a1.userid-42.";

/// What the forms of all groups without rooms of their own say.
QString everybody()
{
    const QString identity = QString::fromUtf8(kIdentity);
    return identity + QStringLiteral("roomid-12.roomname-Blue,") + identity +
           QString::fromUtf8("roomid-9.roomname-Gr\xc3\xbcn");
}

/// What the form of the group with values of its own says.
QString overridden()
{
    return QString::fromUtf8("nickname-\xc3\x96rs.loginname-o1.userid-7.roomid-a.roomname-\xc3\xbf,"
                             "nickname-\xc3\x96rs.loginname-o1.userid-7.roomid-b.roomname-x");
}

QString quoted(const QString &text)
{
    return QLatin1Char('"') + text + QLatin1Char('"');
}

} // namespace

/// One run over a list with groups of every kind, looked at from all sides.
class TestFullChain : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        server_ = std::make_unique<ScriptedServer>(servicePort());
        QVERIFY(server_->isListening());
        QVERIFY(sandbox_.isValid());
        describeClient();
        addGroups();
        before_ = IniFile(sandbox_.iniPath()).values();
        result_ = sandbox_.runTool({});
        QVERIFY2(result_.isSuccess(), result_.describe());
    }
    void cleanupTestCase() { server_.reset(); }

    void sendsOneFormPerFileInTheOrderOfTheGroups()
    {
        next_ = 0;
        checkForm(kLogFilePath, everybody(), plain_, QByteArrayLiteral("first\r\n\r\n--\x00\xff"));
        checkForm(kProducerPath, everybody(), sdk_, "sdk");
        checkForm(kLogFilePath, overridden(), override_, "override");
        checkForm(kLogFilePath, everybody(), default_, "default");
        checkForm(kLogFilePath, everybody(), sdkTwo_, "two");
        checkForm(kLogFilePath, everybody(), last_, "last");
        checkForm(kLogFilePath, everybody(), sandbox_.ownLogs().value(0), sandbox_.ownLogText());
        QCOMPARE(server_->requests().size(), next_);
    }

    void leavesOnlyWhatIsNoneOfItsBusinessInTheIni()
    {
        QVariantMap expected;
        for (auto value = before_.cbegin(); value != before_.cend(); ++value) {
            const QString group = value.key().section(QLatin1Char('/'), 0, 0);
            if (group.contains(QLatin1String("http_")) || group.contains(QLatin1String("system")) ||
                group.contains(QLatin1String("room")))
                expected.insert(value.key(), value.value());
        }
        QCOMPARE(IniFile(sandbox_.iniPath()).values(), expected);
        QCOMPARE(sandbox_.groups(),
                 (QStringList{QStringLiteral("chatroom_1"), QStringLiteral("h_http_1"), QStringLiteral("mysystem"),
                              QStringLiteral("room"), QStringLiteral("system")}));
        QCOMPARE(filesBelow(QFileInfo(sandbox_.iniPath()).path()), QStringList{QStringLiteral("upload.ini")});
    }

    void deletesTheSentSdkLogAndNoOtherFile()
    {
        QVERIFY(!QFile::exists(sdk_));
        for (const QString &path : {plain_, empty_, override_, default_, sdkTwo_, last_, other_})
            QVERIFY2(QFile::exists(path), qPrintable(path));
        QVERIFY(QFileInfo(folder_).isDir());
        QCOMPARE(sandbox_.ownLogs().size(), 1);
    }

    void writesARecordAboutEachStep()
    {
        QStringList expected{
            QStringLiteral("main: 1 ") + quoted(sandbox_.appDirectory()),
            QStringLiteral("KxUpload::initIni: version: \"1.2\" (\"a_plain\", \"b_sdk\", \"c_missing\", "
                           "\"d_empty\", \"e_folder\", \"f_override\", \"g_default\", \"i_sdk2\", "
                           "\"z_last\") (\"h_http_1\") ") +
                QString::fromUtf8("\"J\xc3\xbcrgen \xe4\xb8\xad\" \"42\""),
            QStringLiteral("KxUpload::getFileInfo: ") + quoted(everybody())};
        expected += linesOfSent("a_plain", plain_);
        expected += linesOfSent("b_sdk", sdk_);
        expected += QStringLiteral("KxUpload::onOneFile: true ") + quoted(sdk_);
        expected += QStringLiteral("KxUpload::getFileName: ") + quoted(missing_);
        expected += QStringLiteral("KxUpload::uploadList: true ") + quoted(missing_);
        expected += linesOfDescription("d_empty", empty_);
        expected += QStringLiteral("KxUpload::uploadList: %1 is empty").arg(quoted(empty_));
        expected += linesOfDescription("e_folder", folder_);
        expected += linesOfDescription("e_folder", folder_);
        expected += QStringLiteral("KxUpload::uploadOneFile: open file failed ") + quoted(folder_);
        expected += linesOfSent("f_override", override_, overridden());
        expected += linesOfSent("g_default", default_);
        expected += linesOfSent("i_sdk2", sdkTwo_);
        expected += linesOfSent("z_last", last_);

        const LogRecords log(sandbox_.ownLogText());
        QVERIFY2(log.isWellFormed(), log.describe());
        QCOMPARE(recordLines(log), expected);
    }

    void locatesRecordsFromTheRootOfTheProject()
    {
        const LogRecords log(sandbox_.ownLogText());
        QVERIFY(!log.all().isEmpty());
        for (const LogRecord &record : log.all()) {
            QCOMPARE(record.level, QStringLiteral("Debug"));
            QVERIFY2(record.file.startsWith(QLatin1String("KxLogReport/")), qPrintable(record.file));
            QVERIFY(record.line > 0);
        }
    }

    void echoesAllRecordsToStandardError()
    {
        QCOMPARE(result_.standardOutput, QByteArray());
        const QByteArray file = sandbox_.ownLogText();
        const int start = result_.standardError.indexOf(file);
        QVERIFY2(start >= 0, result_.describe());
        // Before the log there is only what Qt itself prints; behind it what came after the log was closed.
        QVERIFY2(!result_.standardError.left(start).contains('['), result_.describe());
        const LogRecords rest(result_.standardError.mid(start + file.size()));
        QVERIFY2(rest.isWellFormed(), rest.describe());
        QCOMPARE(recordLines(rest), QStringList(QStringLiteral("KxUpload::getFileInfo: ") + quoted(everybody())));
    }

private:
    void describeClient()
    {
        QVERIFY(sandbox_.writeIni([](QSettings &ini) {
            ini.beginGroup(QStringLiteral("system"));
            ini.setValue(QStringLiteral("nickname"), QString::fromUtf8("J\xc3\xbcrgen \xe4\xb8\xad"));
            ini.setValue(QStringLiteral("loginName"), QStringLiteral("a1"));
            ini.setValue(QStringLiteral("userId"), 42);
            ini.setValue(QStringLiteral("namespace"), QString::fromUtf8("m\xc3\xbcnz"));
            ini.setValue(QStringLiteral("version"), QStringLiteral("1.2"));
            ini.setValue(QStringLiteral("logfiles"), QStringList{QStringLiteral("a"), QStringLiteral("b, c")});
            ini.setValue(QStringLiteral("unknown"), QString::fromUtf8("k\xc3\xa9pt; \"as it is\""));
            ini.endGroup();
            ini.setValue(QStringLiteral("room/9"), QString::fromUtf8("Gr\xc3\xbcn"));
            ini.setValue(QStringLiteral("room/12"), QStringLiteral("Blue"));
        }));
    }

    void addGroups()
    {
        plain_ = sandbox_.addFile(QString::fromUtf8("files/a pl\xc3\xa4in.log"),
                                  QByteArrayLiteral("first\r\n\r\n--\x00\xff"));
        QVERIFY(addGroup(sandbox_, QStringLiteral("a_plain"), plain_));
        sdk_ = addLog(sandbox_, QStringLiteral("b_sdk"), "sdk", 1);
        missing_ = sandbox_.root() + QStringLiteral("/nowhere.log");
        QVERIFY(addGroup(sandbox_, QStringLiteral("c_missing"), missing_));
        empty_ = addLog(sandbox_, QStringLiteral("d_empty"), QByteArray());
        folder_ = sandbox_.appDirectory() + QStringLiteral("/files");
        QVERIFY(addGroup(sandbox_, QStringLiteral("e_folder"), folder_));
        override_ = addLog(sandbox_, QStringLiteral("f_override"), "override");
        QVERIFY(sandbox_.writeIni([](QSettings &ini) {
            ini.beginGroup(QStringLiteral("f_override"));
            ini.setValue(QStringLiteral("nickname"), QString::fromUtf8("\xc3\x96rs"));
            ini.setValue(QStringLiteral("loginName"), QStringLiteral("o1"));
            ini.setValue(QStringLiteral("userId"), QStringLiteral("7"));
            ini.setValue(QStringLiteral("room"), QVariantMap{{QStringLiteral("b"), QStringLiteral("x")},
                                                             {QStringLiteral("a"), QString::fromUtf8("\xc3\xbf")}});
        }));
        default_ = sandbox_.addFile(QStringLiteral("logs/g_default.log"), "default");
        QVERIFY(sandbox_.writeIni([](QSettings &ini) { ini.setValue(QStringLiteral("g_default/sdk"), 0); }));
        other_ = addLog(sandbox_, QStringLiteral("h_http_1"), "never sent");
        QVERIFY(addGroup(sandbox_, QStringLiteral("chatroom_1"), other_));
        QVERIFY(addGroup(sandbox_, QStringLiteral("mysystem"), other_));
        sdkTwo_ = addLog(sandbox_, QStringLiteral("i_sdk2"), "two", 2);
        last_ = addLog(sandbox_, QStringLiteral("z_last"), "last");
        QVERIFY(sandbox_.writeIni([](QSettings &ini) { ini.setValue(QStringLiteral("z_last/nickname"), QString()); }));
    }

    /// Compares the next request with the form that is due.
    void checkForm(const char *path, const QString &room, const QString &file, const QByteArray &bytes)
    {
        const RecordedRequest request = server_->requests().value(next_++);
        QCOMPARE(request.method, QByteArray("POST"));
        QCOMPARE(request.path, QByteArray(path));
        QCOMPARE(request.header("Content-Type"), formType());
        QCOMPARE(request.body, logForm(room, QString::fromUtf8("m\xc3\xbcnz"), QFileInfo(file).fileName(), bytes));
    }

    static QStringList linesOfDescription(const char *group, const QString &path, const QString &info = everybody())
    {
        return {QStringLiteral("KxUpload::getFileName: ") + quoted(path),
                QStringLiteral("KxUpload::getFileInfo: \"%1\" %2").arg(QLatin1String(group), quoted(info))};
    }

    static QStringList linesOfSent(const char *group, const QString &path, const QString &info = everybody())
    {
        return linesOfDescription(group, path, info) + linesOfDescription(group, path, info) +
               QStringList{QStringLiteral("KxUpload::onOneFile: \"Unknown error\" QNetworkReply::NoError"),
                           QStringLiteral("KxUpload::onOneFile: data: \"{\\\"Code\\\":0}\" ") + quoted(path)};
    }

    std::unique_ptr<ScriptedServer> server_;
    const Sandbox sandbox_;
    QVariantMap before_;
    ToolResult result_;
    int next_ = 0;
    QString plain_, sdk_, missing_, empty_, folder_, override_, default_, other_, sdkTwo_, last_;
};

QTEST_GUILESS_MAIN(TestFullChain)
#include "tst_fullchain.moc"
