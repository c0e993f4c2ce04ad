#include <kxlog/kxlog.h>

#include <QCoreApplication>
#include <QDebug>

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    KxLog::instance()->install_log(QString::fromLocal8Bit(argv[1]));
    qDebug("started");
    qWarning("kx_log$$1$$lost @@2@@");
}
