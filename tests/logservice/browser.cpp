#include "browser.h"

#include <QtCore/QProcess>
#include <QtCore/QStandardPaths>
#include <QtCore/QTemporaryDir>

QString browser::program()
{
    for (const char *name : {"chromium", "chromium-browser", "google-chrome"}) {
        const QString path = QStandardPaths::findExecutable(QLatin1String(name));
        if (!path.isEmpty())
            return path;
    }
    return QString();
}

QByteArray browser::documentOf(const QString &url)
{
    constexpr int kPatienceMs = 60000;
    const QTemporaryDir profile;
    QStringList arguments;
    // The sandbox wants rights that containers do not give; the rest keeps it from the network and from needless
    // processes.
    for (const char *option :
         {"--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--disable-dev-shm-usage", "--no-first-run",
          "--disable-background-networking", "--disable-component-update", "--disable-sync", "--dump-dom"})
        arguments << QLatin1String(option);
    arguments << QStringLiteral("--user-data-dir=") + profile.path() << url;

    QProcess process;
    process.start(program(), arguments);
    if (!process.waitForFinished(kPatienceMs)) {
        process.kill();
        process.waitForFinished();
    }
    const QByteArray document = process.readAllStandardOutput();
    return document.isEmpty() ? process.readAllStandardError() : document;
}
