#include "kxlog/kxlog.h"
#include "kxupload.h"
#include "postspy.h"

#include <QCoreApplication>
#include <QDir>
#include <QNetworkAccessManager>

// What a client does of which no run of the tool sends anything, by the name of the argument. The home is the caller's.
namespace {

int sendRequestFiles(void (KxUpload::*pass)())
{
    KxUpload uploader(nullptr);
    uploader.initIni();
    (uploader.*pass)();
    return QCoreApplication::exec();
}

void introduce(KxLog &log)
{
    log.setClientName(QStringLiteral("KxClient"));
    log.setClientVersion(QStringLiteral("V1.2.3"));
    log.setRoomInfo(QStringLiteral("demo-key"), QStringLiteral("101"), QStringLiteral("10042"));
    log.setSignalServerInfo(QStringLiteral("signal.example.com:443"));
    log.install_log(QDir::homePath() + QStringLiteral("/logs"));
}

int sendReport()
{
    KxLog *log = KxLog::instance();
    introduce(*log);
    log->startReport();
    QMessageLogger("src/net.cpp", 42, "void Net::connect()").warning("kx_log$$1$$connection lost, reconnects @@2@@");
    QObject::connect(log->findChild<QNetworkAccessManager *>(), &QObject::destroyed, qApp, &QCoreApplication::quit);
    return QCoreApplication::exec();
}

// The manager of an error report ends with the call, and with it, nearly always, the request. Another manager sends
// what the call has posted.
int sendErrorReport()
{
    KxLog *log = KxLog::instance();
    introduce(*log);
    log->setLogInfo(QStringLiteral("101"), QStringLiteral("10042"), 0);
    log->setUserName(QString::fromUtf8("Zo\xc3\xab"));
    Posted posted;
    {
        const PostSpy spy;
        log->kavriErrorLog(1005, QStringLiteral("no route to the media server"));
        if (spy.posted.size() != 1)
            return 1;
        posted = spy.posted.first();
    }
    QNetworkAccessManager manager;
    const QNetworkReply *reply = manager.post(posted.request, posted.body);
    QObject::connect(reply, &QNetworkReply::finished, qApp, &QCoreApplication::quit);
    return QCoreApplication::exec();
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const QString order = QCoreApplication::arguments().value(1);
    if (order == QLatin1String("requestfiles"))
        return sendRequestFiles(&KxUpload::uploadHttpList);
    if (order == QLatin1String("requestfile"))
        return sendRequestFiles(&KxUpload::httpUpload);
    if (order == QLatin1String("report"))
        return sendReport();
    if (order == QLatin1String("errorreport"))
        return sendErrorReport();
    return 2;
}
