#include "kxlog/logretention.h"
#include "support/files/fileio.h"
#include "support/files/folder.h"
#include "unprivileged.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#ifdef Q_OS_UNIX
#include <sys/stat.h>
#endif

/// A pass over entries that are no plain files, or not this user's to read or delete.
class TestRetentionFiles : public QObject
{
    Q_OBJECT

private slots:
    void removesLinksAndNotWhatTheyNameInstead();
    void keepsWhatIsNoPlainFile();
    void keepsFilesThatItCannotRead();
    void leavesTheMarkerThoughADeletionFailed();
};

namespace {

const QDate kToday(2024, 5, 4);

/// Of a folder, for everyone.
constexpr QFile::Permissions kReadable =
    QFile::ReadOwner | QFile::ExeOwner | QFile::ReadGroup | QFile::ExeGroup | QFile::ReadOther | QFile::ExeOther;
constexpr QFile::Permissions kWritable = QFile::WriteOwner | QFile::WriteGroup | QFile::WriteOther;

} // namespace

void TestRetentionFiles::removesLinksAndNotWhatTheyNameInstead()
{
#ifdef Q_OS_UNIX
    QTemporaryDir outside;
    QTemporaryDir dir;
    const QString file = outside.filePath(QStringLiteral("kept.log"));
    QVERIFY(addFiles(outside.path(), {QStringLiteral("kept.log")}));
    QVERIFY(QFile::link(file, dir.filePath(QStringLiteral("2024_05_01_09_30_00.log"))));
    QVERIFY(QFile::link(file, dir.filePath(QStringLiteral("link.dat"))));
    QVERIFY(QFile::link(file, dir.filePath(QStringLiteral("2024_05_02_09_30_00.log"))));
    // Neither of these two is a plain file that can be read.
    QVERIFY(QFile::link(outside.path(), dir.filePath(QStringLiteral("2024_05_01_09_30_01.log"))));
    QVERIFY(QFile::link(outside.filePath(QStringLiteral("gone")), dir.filePath(QStringLiteral("gone.dat"))));

    pruneLogDirectory(dir.path(), ownLogRule(), kToday);
    QCOMPARE(entries(dir.path()),
             sorted({QStringLiteral("2024_05_02_09_30_00.log"), QStringLiteral("2024_05_01_09_30_01.log"),
                     QStringLiteral("gone.dat"), QStringLiteral("2024_05_04.dat")}));
    QCOMPARE(entries(outside.path()), QStringList(QStringLiteral("kept.log")));
    QCOMPARE(readFile(file), QByteArrayLiteral("x"));
#else
    QSKIP("no symbolic links here");
#endif
}

void TestRetentionFiles::keepsWhatIsNoPlainFile()
{
#ifdef Q_OS_UNIX
    QTemporaryDir dir;
    QCOMPARE(::mkfifo(QFile::encodeName(dir.filePath(QStringLiteral("old.dat"))).constData(), S_IRUSR | S_IWUSR), 0);
    pruneLogDirectory(dir.path(), ownLogRule(), kToday);
    QCOMPARE(entries(dir.path()), QStringList({QStringLiteral("2024_05_04.dat"), QStringLiteral("old.dat")}));
#else
    QSKIP("no named pipes here");
#endif
}

void TestRetentionFiles::keepsFilesThatItCannotRead()
{
    QTemporaryDir dir;
    const QStringList names = {QStringLiteral("2024_05_01_09_30_00.log"), QStringLiteral("2024_05_01_09_30_01.log"),
                               QStringLiteral("old.dat"), QStringLiteral("unread.dat")};
    QVERIFY(addFiles(dir.path(), names));
    QVERIFY(QFile::setPermissions(dir.path(), kReadable | kWritable));
    QVERIFY(QFile::setPermissions(dir.filePath(names.at(1)), QFile::WriteOwner));
    QVERIFY(QFile::setPermissions(dir.filePath(names.at(3)), QFile::WriteOwner));
    {
        const Unprivileged rights;
        if (!rights.isValid())
            QSKIP("the superuser can read everything");
        pruneLogDirectory(dir.path(), ownLogRule(), kToday);
    }
    QCOMPARE(entries(dir.path()), sorted({names.at(1), names.at(3), QStringLiteral("2024_05_04.dat")}));
}

void TestRetentionFiles::leavesTheMarkerThoughADeletionFailed()
{
    QTemporaryDir root;
    QVERIFY(QDir(root.path()).mkdir(QStringLiteral("logs")));
    QVERIFY(QDir(root.path()).mkdir(QStringLiteral("markers")));
    const QString logs = root.filePath(QStringLiteral("logs"));
    const QString expired = QStringLiteral("2024_05_01_09_30_00.log");
    const QString markerName = QStringLiteral("2024_05_04.dat");
    QVERIFY(addFiles(logs, {expired}));
    // Nothing can be deleted from a folder without the right to write, but a link in it leads to where a file can be.
    const QString markerTarget = root.filePath(QStringLiteral("markers/marker"));
    QVERIFY(QFile::link(markerTarget, logs + QLatin1Char('/') + markerName));
    QVERIFY(QFile::setPermissions(root.path(), kReadable | QFile::WriteOwner));
    QVERIFY(QFile::setPermissions(root.filePath(QStringLiteral("markers")), kReadable | kWritable));
    QVERIFY(QFile::setPermissions(logs, kReadable));
    {
        const Unprivileged rights;
        if (!rights.isValid())
            QSKIP("the superuser can delete everything");
        pruneLogDirectory(logs, ownLogRule(), kToday);
    }
    const QStringList left = entries(logs);
    QVERIFY(QFile::setPermissions(logs, kReadable | QFile::WriteOwner));
    QCOMPARE(left, sorted({expired, markerName}));
    QCOMPARE(readFile(markerTarget), QByteArrayLiteral("1"));

    // The next try is on the next day, and this time it is allowed to.
    pruneLogDirectory(logs, ownLogRule(), kToday);
    QCOMPARE(entries(logs), sorted({expired, markerName}));
    pruneLogDirectory(logs, ownLogRule(), kToday.addDays(1));
    QCOMPARE(entries(logs), QStringList(QStringLiteral("2024_05_05.dat")));
}

QTEST_GUILESS_MAIN(TestRetentionFiles)
#include "tst_retentionfiles.moc"
