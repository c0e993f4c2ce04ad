#include "main.h"

#include "kxlog/kxlog.h"
#include "kxupload.h"
#include "process/eventpause.h"
#include "process/lastresort.h"
#include "process/standardstreams.h"

#include <QCoreApplication>
#include <QDebug>
#include <QDir>
#include <QFile>
#include <QLibraryInfo>
#include <QStandardPaths>

namespace {

// Some seconds behind the watchdog of the uploads, which ends a run in good order if anything still can.
constexpr unsigned kLastResortSeconds = 310;

} // namespace

QString operator+(const QString &left, const char *right)
{
    return left + QString::fromUtf8(right);
}

qint64 mSleep(int ms)
{
    return pauseWithEvents(ms);
}

int main(int argc, char *argv[])
{
    endProcessAfter(kLastResortSeconds);
    secureStandardStreams();
    const QCoreApplication application(argc, argv);
#ifdef Q_OS_MACOS
    // In a client's bundle Qt would find the client's name, and the logs would be below the client's preferences.
    QCoreApplication::setApplicationName(QStringLiteral("KxLogReport"));
#endif

    // Without a backslash, as on every system but one, this is the executable's own path: the directory change fails,
    // which is deliberate, and the current directory stays the client's.
    const QString program = QString::fromLocal8Bit(argv[0]);
    const QString programDir = program.mid(0, program.lastIndexOf(QLatin1Char('\\')));
    QDir::setCurrent(programDir);

    const QString pluginDir = QLibraryInfo::location(QLibraryInfo::PluginsPath);
    QCoreApplication::removeLibraryPath(pluginDir);
    QCoreApplication::addLibraryPath(pluginDir);
    QCoreApplication::addLibraryPath(programDir);

    KxLog *log = KxLog::instance();
    log->setClientVersion(QStringLiteral("V1.00") + "-" + "11");
    const QString applicationDir = QCoreApplication::applicationDirPath();
    const QString baseDir = applicationDir.startsWith(QLatin1String("/Applications"))
                                ? applicationDir
                                : QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation);
    log->install_log(baseDir + "/logs/upload");
    log->removeSdkLogs(baseDir + "/sdk_log");
    log->setClientName(QStringLiteral("KxClient"));
    log->setShowLog(true);

    if (argc == 1 && !QFile::exists(applicationDir + "/config/upload.ini"))
        return 0;

    KxUpload uploader(nullptr);
    qDebug() << argc << applicationDir;
    if (argc >= 2)
        uploader.setCrashPath(QString::fromLocal8Bit(argv[1]));
    uploader.startUpload();
    return QCoreApplication::exec();
}
