#include <kxlog/kxlog.h>

#include <QCoreApplication>
#include <QDebug>

#include <thread>

namespace {

constexpr int kFrames = 1000;

// Any thread logs as it pleases.
void receive()
{
    for (int frame = 1; frame <= kFrames; ++frame)
        qDebug("received frame %d", frame);
}

void render()
{
    for (int frame = 1; frame <= kFrames; ++frame)
        qDebug() << "rendered" << frame;
}

} // namespace

/// A client with two threads: client FOLDER logs into a new file in FOLDER.
int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 2)
        return 2;

    // Here, so that the object belongs to the thread with the event loop, which sends its reports.
    KxLog *log = KxLog::instance();
    log->setClientName(QStringLiteral("KxClient"));
    log->setClientVersion(QStringLiteral("V2.3.1"));
    log->install_log(arguments.at(1));

    std::thread receiver(receive);
    render();
    receiver.join();
    qWarning("kx_log$$1$$lost @@2@@");
    return 0;
}
