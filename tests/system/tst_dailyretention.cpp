#include "support/files/fileio.h"
#include "support/tool/toolsetup.h"

#include <QDate>
#include <QDir>
#include <QFileInfo>
#include <QTest>

namespace {

/// Files that a pass may find, by name.
struct Names
{
    QStringList kept;
    QStringList deleted;
};

QString day(int daysAgo, const char *format)
{
    return QDate::currentDate().addDays(-daysAgo).toString(QLatin1String(format));
}

QString ownDay(int daysAgo)
{
    return day(daysAgo, "yyyy_MM_dd");
}

QString sdkDay(int daysAgo)
{
    return day(daysAgo, "yyyyMMdd");
}

Names ownNames()
{
    return {{ownDay(2) + QStringLiteral("_00_00_00.log"), QStringLiteral("crash_%1_00_00_00.log").arg(ownDay(2)),
             ownDay(-9) + QStringLiteral("_00_00_00.log"), ownDay(9) + QStringLiteral("_00_00_00_1.log"),
             QStringLiteral("upload_%1_00_00_00.log").arg(ownDay(9)), sdkDay(9) + QStringLiteral("000000.log"),
             QStringLiteral("DATA.txt"), QStringLiteral("README"), QStringLiteral("update"),
             QStringLiteral(".data.txt"), ownDay(9) + QStringLiteral("_00_00_00.dir/data.log")},
            {ownDay(3) + QStringLiteral("_23_59_59.log"), QStringLiteral("crash_%1_23_59_59.log").arg(ownDay(3)),
             QStringLiteral("crash_crash_%1_00_00_00.x.y").arg(ownDay(3)), ownDay(1) + QStringLiteral(".dat"),
             ownDay(0) + QStringLiteral("_00_00_00.dat"), QStringLiteral("update.log"), QStringLiteral("data.txt"),
             QStringLiteral("x.dat")}};
}

Names sdkNames()
{
    return {{sdkDay(2) + QStringLiteral("000000.log"), sdkDay(9) + QStringLiteral("000000.txt"),
             QStringLiteral("crash_") + sdkDay(9) + QStringLiteral("000000.log"),
             ownDay(9) + QStringLiteral("_00_00_00.log"), QStringLiteral("data.txt"), QStringLiteral("X.DAT"),
             QStringLiteral(".x.dat"), sdkDay(9) + QStringLiteral("000000.log.d/x.dat")},
            {sdkDay(3) + QStringLiteral("235959.log"), sdkDay(3) + QStringLiteral("000000.LOG"),
             sdkDay(3) + QStringLiteral("000000.DAT"), sdkDay(1) + QStringLiteral(".dat"), QStringLiteral("data.log"),
             QStringLiteral("x.dat")}};
}

bool addFiles(const QString &directory, const QStringList &names)
{
    bool added = true;
    for (const QString &name : names) {
        const QString path = directory + QLatin1Char('/') + name;
        added = added && QDir().mkpath(QFileInfo(path).path()) && writeFile(path, "old");
    }
    return added;
}

/// The files below \a directory but the tool's logs of today.
QStringList remaining(const QString &directory)
{
    QStringList names = filesBelow(directory);
    const QStringList today = names.filter(QStringLiteral("upload_") + ownDay(0));
    for (const QString &name : today)
        names.removeOne(name);
    return names;
}

QStringList sorted(QStringList names)
{
    names.sort();
    return names;
}

} // namespace

/// What a run does to the two log folders, once a day.
class TestDailyRetention : public QObject
{
    Q_OBJECT

private slots:
    void init() { today_ = QDate::currentDate(); }

    void deletesOldLogsInBothFoldersByTheirOwnRules()
    {
        const Sandbox sandbox;
        const QString ownDirectory = sandbox.logDirectory();
        const QString sdkDirectory = sandbox.sdkLogDirectory();
        const Names own = ownNames();
        const Names sdk = sdkNames();
        QVERIFY(addFiles(ownDirectory, own.kept + own.deleted));
        QVERIFY(addFiles(sdkDirectory, sdk.kept + sdk.deleted));
        QVERIFY(sandbox.runTool({}).isSuccess());

        const QString ownMarker = ownDay(0) + QStringLiteral(".dat");
        const QString sdkMarker = sdkDay(0) + QStringLiteral(".dat");
        if (today_ != QDate::currentDate())
            QSKIP("the day has changed meanwhile");
        QCOMPARE(remaining(ownDirectory), sorted(own.kept + QStringList(ownMarker)));
        QCOMPARE(remaining(sdkDirectory), sorted(sdk.kept + QStringList(sdkMarker)));
        QCOMPARE(readFile(ownDirectory + QLatin1Char('/') + ownMarker), QByteArray("1"));
        QCOMPARE(readFile(sdkDirectory + QLatin1Char('/') + sdkMarker), QByteArray("1"));

        // The markers keep the day's later runs from looking again.
        QVERIFY(addFiles(ownDirectory, own.deleted));
        QVERIFY(addFiles(sdkDirectory, sdk.deleted));
        QVERIFY(sandbox.runTool({}).isSuccess());
        if (today_ != QDate::currentDate())
            QSKIP("the day has changed meanwhile");
        QCOMPARE(remaining(ownDirectory), sorted(own.kept + own.deleted + QStringList(ownMarker)));
        QCOMPARE(remaining(sdkDirectory), sorted(sdk.kept + sdk.deleted + QStringList(sdkMarker)));
    }

    void opensItsLogAfterThePass()
    {
        const Sandbox sandbox;
        // Enough to keep the pass busy for longer than a file system's clock takes for a tick.
        QStringList names;
        for (int i = 0; i < 4000; ++i)
            names.append(QStringLiteral("%1.dat").arg(i));
        QVERIFY(addFiles(sandbox.logDirectory(), names));
        QVERIFY(sandbox.runTool({}).isSuccess());
        if (today_ != QDate::currentDate())
            QSKIP("the day has changed meanwhile");

        // Nothing is written into the log of such a run: its time is that of its creation.
        QCOMPARE(sandbox.ownLogText(), QByteArray(""));
        const QFileInfo marker(sandbox.logDirectory() + QLatin1Char('/') + ownDay(0) + QStringLiteral(".dat"));
        QVERIFY(marker.exists());
        QVERIFY(marker.lastModified() <= QFileInfo(sandbox.ownLogs().first()).lastModified());
        QCOMPARE(filesBelow(sandbox.logDirectory()).size(), 2);
    }

private:
    QDate today_;
};

QTEST_GUILESS_MAIN(TestDailyRetention)
#include "tst_dailyretention.moc"
