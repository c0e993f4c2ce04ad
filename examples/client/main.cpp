#include <kxlog/kxlog.h>

#include <QCoreApplication>
#include <QDebug>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSettings>
#include <QVariant>

#include <cstdio>
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

void work()
{
    std::thread receiver(receive);
    render();
    receiver.join();
    qWarning("kx_log$$1$$lost @@2@@");
}

/// Stands in for whatever else of the client leaves a file behind. Returns its path.
QString leftBehind(const QDir &folder, const QString &name, const QByteArray &content)
{
    QFile file(folder.filePath(name));
    if (file.open(QIODevice::WriteOnly))
        file.write(content);
    return file.fileName();
}

/// A text as the list holds it without loss: as UTF-8. A settings object of Qt 5 loses emoji, and all else above
/// U+FFFF, when it writes a text as such; in a map they are safe.
QVariant listed(const QString &text)
{
    return text.toUtf8();
}

/// Tells the tool who sends, from where, and one group for each file. What former runs have left on the list stays.
/// Returns whether the list was written.
bool writeList(const QString &path, const QDir &folder, const QString &ownLog)
{
    QSettings list(path, QSettings::IniFormat);
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    list.setIniCodec("UTF-8"); // later versions write nothing else
#endif

    list.beginGroup(QStringLiteral("system"));
    list.setValue(QStringLiteral("nickname"), listed(QString::fromUtf8("Zoë 🎧")));
    list.setValue(QStringLiteral("loginName"), listed(QStringLiteral("zoe")));
    list.setValue(QStringLiteral("userId"), listed(QStringLiteral("10042")));
    list.setValue(QStringLiteral("namespace"), listed(QStringLiteral("demo")));
    list.endGroup();

    // The rooms of every file that has none of its own. Those of another run are none of this one's.
    list.beginGroup(QStringLiteral("room"));
    list.remove(QString());
    list.setValue(QStringLiteral("101"), listed(QStringLiteral("Lobby")));
    list.setValue(QStringLiteral("102"), listed(QString::fromUtf8("Café ☕, 1st floor 🪴")));
    list.endGroup();

    // A log of the client: it stays on disk.
    list.beginGroup(QStringLiteral("client"));
    list.setValue(QStringLiteral("path"), listed(ownLog));
    list.endGroup();

    // Another one, with a name and rooms of its own.
    const QString callLog = leftBehind(folder, QString::fromUtf8("call 7 📞.log"), "call 7 has ended\n");
    list.beginGroup(QStringLiteral("call_7"));
    list.setValue(QStringLiteral("path"), listed(callLog));
    list.setValue(QStringLiteral("nickname"), listed(QString::fromUtf8("Guest 🦊")));
    list.setValue(QStringLiteral("room"), QVariantMap{{QStringLiteral("7"), QString::fromUtf8("Küche 🍳")}});
    list.endGroup();

    // A log of the SDK: the tool deletes it.
    const QString sdkLog = leftBehind(folder, QStringLiteral("media.log"), "decoder opened\n");
    list.beginGroup(QStringLiteral("mediasdk"));
    list.setValue(QStringLiteral("path"), listed(sdkLog));
    list.setValue(QStringLiteral("sdk"), 1);
    list.endGroup();

    // A request file: the tool leaves it and its group alone.
    const QString request = leftBehind(folder, QStringLiteral("request.json"), "{}\n");
    list.beginGroup(QStringLiteral("http_feedback"));
    list.setValue(QStringLiteral("path"), listed(request));
    list.endGroup();

    list.sync();
    return list.status() == QSettings::NoError;
}

} // namespace

/// A client with two threads: client FOLDER logs into a new file in FOLDER, lists that and other files in
/// config/upload.ini beside the program and starts the tool there, which goes on when the client has ended.
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
    work();
    // What is logged while the tool sends a file does not go with it.
    log->closeFile();

    const QDir beside(QCoreApplication::applicationDirPath());
    if (!writeList(beside.filePath(QStringLiteral("config/upload.ini")), QDir(arguments.at(1)), log->fileName())) {
        std::fputs("The list cannot be written\n", stderr);
        return 1;
    }
    if (!QProcess::startDetached(beside.filePath(QStringLiteral("KxLogReport")), QStringList())) {
        std::fputs("KxLogReport cannot be started\n", stderr);
        return 1;
    }
    return 0;
}
