#include "openkxlog.h"
#include "support/files/fileio.h"
#include "support/files/folder.h"
#include "support/files/logrecords.h"
#include "support/process/messagecatcher.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QPointer>
#include <QTemporaryDir>
#include <QTest>

/// The log file of an object: where it is made, what comes into it and when it is closed.
class TestLogFile : public QObject
{
    Q_OBJECT

private slots:
    void namesTheFileAfterTheTime();
    void saysItsPathBeforeItTakesOver();
    void installsTheHandler();
    void makesMissingFolders();
    void prunesTheFolder();
    void takesPlaceMarkersInThePathAsTheyAre();
    void appendsToTheFileOfTheSameSecond();
    void laterInstallationLeavesTheEarlierFileOpen();
    void goesOnWithoutAFileWhereNoneCanBe();
    void writesLinesAtOnce();
    void writesNothingWithoutAFile();
    void closesTheFileOnce();
    void opensAnotherFileAfterwards();
    void closesTheFileWithTheObject();
    void takesNoLock();
};

namespace {

/// Names that a log file in \a path may have when it was opened between the two seconds.
QStringList namesBetween(const QString &path, qint64 from, qint64 to)
{
    QStringList names;
    for (qint64 second = from; second <= to; ++second) {
        names.append(path + QStringLiteral("/upload_") +
                     QDateTime::fromSecsSinceEpoch(second).toString(QStringLiteral("yyyy_MM_dd_hh_mm_ss")) +
                     QStringLiteral(".log"));
    }
    return names;
}

} // namespace

void TestLogFile::namesTheFileAfterTheTime()
{
    const MessageCatcher quiet;
    QTemporaryDir dir;
    OpenKxLog log;
    const qint64 from = QDateTime::currentSecsSinceEpoch();
    log.install_log(dir.path());
    const qint64 to = QDateTime::currentSecsSinceEpoch();

    QVERIFY2(namesBetween(dir.path(), from, to).contains(log.fileName()), qPrintable(log.fileName()));
    QCOMPARE(log.logFileName, log.fileName());
    QCOMPARE(log.getPath(), dir.path());
    QCOMPARE(log.logPath, dir.path());
    QVERIFY(log.logFile != nullptr);
    QCOMPARE(log.logFile->fileName(), log.fileName());
    QVERIFY(log.logFile->parent() == nullptr);
    QCOMPARE(log.logFile->openMode() & (QIODevice::ReadWrite | QIODevice::Append),
             QIODevice::WriteOnly | QIODevice::Append);
    QCOMPARE(readFile(log.fileName()), QByteArray(""));
}

void TestLogFile::saysItsPathBeforeItTakesOver()
{
    const MessageCatcher catcher;
    QTemporaryDir dir;
    OpenKxLog log;
    log.install_log(dir.path());

    QCOMPARE(catcher.texts(), QStringList(QLatin1Char('"') + dir.path() + QLatin1Char('"')));
    const CaughtMessage message = catcher.messages().constFirst();
    QCOMPARE(message.type, QtDebugMsg);
    QCOMPARE(message.file, QByteArrayLiteral("KxLogReport/kxlog/kxlog.cpp"));
    QVERIFY(message.line > 0);
    QVERIFY2(message.function.startsWith("void KxLog::install_log("), message.function.constData());
    QCOMPARE(message.category, QByteArrayLiteral("default"));
}

void TestLogFile::installsTheHandler()
{
    const MessageCatcher quiet;
    QTemporaryDir dir;
    OpenKxLog log;
    log.install_log(dir.path());
    const QtMessageHandler handler = qInstallMessageHandler(nullptr);
    QVERIFY(handler == &outputMessage);
}

void TestLogFile::makesMissingFolders()
{
    const MessageCatcher quiet;
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("a/b/c"));
    OpenKxLog log;
    log.install_log(path);
    QVERIFY(QFile::exists(log.fileName()));
    // The day's marker is there as well: the folder was made before it was pruned.
    QCOMPARE(entries(path).size(), 2);
}

void TestLogFile::prunesTheFolder()
{
    const MessageCatcher quiet;
    QTemporaryDir dir;
    const QString expired = dir.filePath(QStringLiteral("crash_2020_01_01_00_00_00.log"));
    const QString old = dir.filePath(QStringLiteral("old.dat"));
    const QString own = dir.filePath(QStringLiteral("upload_2020_01_01_00_00_00.log"));
    const QString sdk = dir.filePath(QStringLiteral("20200101000000.log"));
    for (const QString &file : {expired, old, own, sdk})
        QVERIFY(writeFile(file, "x"));

    OpenKxLog log;
    log.install_log(dir.path());
    QVERIFY(!QFile::exists(expired));
    QVERIFY(!QFile::exists(old));
    QVERIFY(QFile::exists(own));
    QVERIFY(QFile::exists(sdk));
    QVERIFY(QFile::exists(log.fileName()));
    QCOMPARE(QDir(dir.path()).entryList({QStringLiteral("????_??_??.dat")}).size(), 1);
    QCOMPARE(entries(dir.path()).size(), 4);
}

void TestLogFile::takesPlaceMarkersInThePathAsTheyAre()
{
    const MessageCatcher quiet;
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("%2 and %1"));
    OpenKxLog log;
    const qint64 from = QDateTime::currentSecsSinceEpoch();
    log.install_log(path);
    const qint64 to = QDateTime::currentSecsSinceEpoch();
    QVERIFY2(namesBetween(path, from, to).contains(log.fileName()), qPrintable(log.fileName()));
    QVERIFY(QFile::exists(log.fileName()));
}

void TestLogFile::appendsToTheFileOfTheSameSecond()
{
    const MessageCatcher quiet;
    // Until both installations happen to be within one second.
    for (int attempt = 0; attempt < 20; ++attempt) {
        QTemporaryDir dir;
        OpenKxLog log;
        log.install_log(dir.path());
        const QString firstName = log.fileName();
        log.write_log(QStringLiteral("first"));
        log.install_log(dir.path());
        log.write_log(QStringLiteral("second"));
        if (log.fileName() != firstName)
            continue;
        QCOMPARE(readFile(firstName), QByteArrayLiteral("first\nsecond\n"));
        return;
    }
    QFAIL("no two installations within one second");
}

void TestLogFile::laterInstallationLeavesTheEarlierFileOpen()
{
    const MessageCatcher quiet;
    QTemporaryDir first;
    QTemporaryDir second;
    OpenKxLog log;
    log.install_log(first.path());
    const QString firstName = log.fileName();
    const QPointer<QFile> firstFile = log.logFile;
    log.install_log(second.path());

    QVERIFY(firstFile);
    QVERIFY(firstFile->isOpen());
    QVERIFY(log.logFile != firstFile);
    QCOMPARE(log.getPath(), second.path());
    log.write_log(QStringLiteral("line"));
    QCOMPARE(readFile(firstName), QByteArray(""));
    QCOMPARE(readFile(log.fileName()), QByteArrayLiteral("line\n"));
}

void TestLogFile::goesOnWithoutAFileWhereNoneCanBe()
{
    const MessageCatcher quiet;
    QTemporaryDir dir;
    const QString notAFolder = dir.filePath(QStringLiteral("file"));
    QVERIFY(writeFile(notAFolder, "x"));
    const QString path = notAFolder + QStringLiteral("/logs");
    OpenKxLog log;
    log.install_log(path);
    QVERIFY(log.fileName().startsWith(path + QStringLiteral("/upload_")));
    QVERIFY(log.logFile != nullptr);
    QVERIFY(!log.logFile->isOpen());
    log.write_log(QStringLiteral("line"));
    log.closeFile();
    QVERIFY(log.logFile == nullptr);
    QCOMPARE(entries(dir.path()), QStringList(QStringLiteral("file")));
    QCOMPARE(readFile(notAFolder), QByteArrayLiteral("x"));
}

void TestLogFile::writesLinesAtOnce()
{
    const MessageCatcher quiet;
    QTemporaryDir dir;
    OpenKxLog log;
    log.install_log(dir.path());
    log.write_log(QStringLiteral("a %1"));
    QCOMPARE(readFile(log.fileName()), QByteArrayLiteral("a %1\n"));
    log.write_log(QString());
    QCOMPARE(readFile(log.fileName()), QByteArrayLiteral("a %1\n\n"));
    log.write_log(QStringLiteral("b\r\n"));
    QCOMPARE(readFile(log.fileName()), QByteArrayLiteral("a %1\n\nb\r\n\n"));
}

void TestLogFile::writesNothingWithoutAFile()
{
    const MessageCatcher quiet;
    QTemporaryDir dir;
    OpenKxLog log;
    log.write_log(QStringLiteral("before"));
    log.install_log(dir.path());
    log.closeFile();
    log.write_log(QStringLiteral("after"));
    QCOMPARE(readFile(log.fileName()), QByteArray(""));
}

void TestLogFile::closesTheFileOnce()
{
    const MessageCatcher quiet;
    QTemporaryDir dir;
    OpenKxLog log;
    log.closeFile();
    QVERIFY(log.logFile == nullptr);

    log.install_log(dir.path());
    const QString name = log.fileName();
    const QPointer<QFile> file = log.logFile;
    log.closeFile();
    QVERIFY(log.logFile == nullptr);
    QVERIFY(file);
    QVERIFY(!file->isOpen());
    log.closeFile();
    QVERIFY(log.logFile == nullptr);
    QCOMPARE(log.fileName(), name);
    QCOMPARE(log.getPath(), dir.path());

    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(!file);
}

void TestLogFile::opensAnotherFileAfterwards()
{
    const MessageCatcher quiet;
    QTemporaryDir first;
    QTemporaryDir second;
    OpenKxLog log;
    log.install_log(first.path());
    const QString firstName = log.fileName();
    log.write_log(QStringLiteral("first"));
    log.closeFile();
    log.install_log(second.path());
    log.write_log(QStringLiteral("second"));
    QCOMPARE(readFile(firstName), QByteArrayLiteral("first\n"));
    QCOMPARE(readFile(log.fileName()), QByteArrayLiteral("second\n"));
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

void TestLogFile::closesTheFileWithTheObject()
{
    const MessageCatcher quiet;
    QTemporaryDir dir;
    QPointer<QFile> file;
    {
        OpenKxLog log;
        log.install_log(dir.path());
        file = log.logFile;
        QVERIFY(file->isOpen());
    }
    QVERIFY(!file || !file->isOpen());
}

void TestLogFile::takesNoLock()
{
    const MessageCatcher quiet;
    QTemporaryDir dir;
    OpenKxLog log;
    // Whoever took it now would wait for ever.
    log.mutex.lock();
    log.install_log(dir.path());
    log.write_log(QStringLiteral("a"));
    log.reportLog(QStringLiteral("h"), QStringLiteral("l"), QStringLiteral("kx_log"), QtDebugMsg);
    log.setLogInfo(QString(), QString(), 1);
    log.removeSdkLogs(dir.path());
    log.closeFile();
    log.mutex.unlock();
    QCOMPARE(readFile(log.fileName()), QByteArrayLiteral("a\nhlkx_client   kx_error  \r\n\n"));
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

QTEST_GUILESS_MAIN(TestLogFile)
#include "tst_logfile.moc"
