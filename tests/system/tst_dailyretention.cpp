#include "support/files/folder.h"
#include "support/tool/toolsetup.h"

#include <QDate>
#include <QDir>
#include <QFileInfo>
#include <QTest>

namespace {

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

/// The files below \a directory but the tool's logs of today.
QStringList remaining(const QString &directory)
{
    QStringList names = filesBelow(directory);
    const QStringList today = names.filter(QStringLiteral("upload_") + ownDay(0));
    for (const QString &name : today)
        names.removeOne(name);
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
        const QString own = sandbox.logDirectory();
        const QString sdk = sandbox.sdkLogDirectory();
        const QString ownLog = ownDay(3) + QStringLiteral("_23_59_59.log");
        const QString sdkLog = sdkDay(3) + QStringLiteral("235959.log");
        const QStringList young = {ownDay(2) + QStringLiteral("_00_00_00.log"),
                                   sdkDay(2) + QStringLiteral("000000.log")};
        QVERIFY(QDir().mkpath(own) && addFiles(own, young + QStringList{ownLog, sdkLog}));
        QVERIFY(QDir().mkpath(sdk) && addFiles(sdk, young + QStringList{ownLog, sdkLog}));
        QVERIFY(sandbox.runTool({}).isSuccess());

        const QString ownMarker = ownDay(0) + QStringLiteral(".dat");
        const QString sdkMarker = sdkDay(0) + QStringLiteral(".dat");
        if (today_ != QDate::currentDate())
            QSKIP("the day has changed meanwhile");
        QCOMPARE(remaining(own), sorted(young + QStringList{sdkLog, ownMarker}));
        QCOMPARE(remaining(sdk), sorted(young + QStringList{ownLog, sdkMarker}));

        // The markers keep the day's later runs from looking again.
        QVERIFY(addFiles(own, {ownLog}) && addFiles(sdk, {sdkLog}));
        QVERIFY(sandbox.runTool({}).isSuccess());
        if (today_ != QDate::currentDate())
            QSKIP("the day has changed meanwhile");
        QCOMPARE(remaining(own), sorted(young + QStringList{ownLog, sdkLog, ownMarker}));
        QCOMPARE(remaining(sdk), sorted(young + QStringList{ownLog, sdkLog, sdkMarker}));
    }

    void opensItsLogAfterThePass()
    {
        const Sandbox sandbox;
        // Enough to keep the pass busy for longer than a file system's clock takes for a tick.
        QStringList names;
        for (int i = 0; i < 4000; ++i)
            names.append(QStringLiteral("%1.dat").arg(i));
        QVERIFY(QDir().mkpath(sandbox.logDirectory()) && addFiles(sandbox.logDirectory(), names));
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
