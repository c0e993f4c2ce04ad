#include "support/tool/toolsetup.h"

#include "support/files/logrecords.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSettings>

namespace {

QString functionName(const QString &signature)
{
    static const QRegularExpression name(QStringLiteral("([\\w:~]+)\\("));
    return name.match(signature).captured(1);
}

} // namespace

bool addUser(const Sandbox &sandbox)
{
    return sandbox.writeIni([](QSettings &ini) {
        ini.setValue(QStringLiteral("system/nickname"), QStringLiteral("ann"));
        ini.setValue(QStringLiteral("system/userId"), 42);
        ini.setValue(QStringLiteral("system/namespace"), QStringLiteral("space"));
    });
}

bool addGroup(const Sandbox &sandbox, const QString &group, const QString &path, int sdk)
{
    return sandbox.writeIni([&](QSettings &ini) {
        ini.setValue(group + QStringLiteral("/path"), path);
        if (sdk != 0)
            ini.setValue(group + QStringLiteral("/sdk"), sdk);
    });
}

QString addLog(const Sandbox &sandbox, const QString &group, const QByteArray &bytes, int sdk)
{
    const QString path = sandbox.addFile(QStringLiteral("files/") + group + QStringLiteral(".log"), bytes);
    return addGroup(sandbox, group, path, sdk) ? path : QString();
}

QStringList recordLines(const LogRecords &log)
{
    QStringList lines;
    for (const LogRecord &record : log.all()) {
        const QString level =
            record.level == QLatin1String("Debug") ? QString() : QStringLiteral("[%1] ").arg(record.level);
        lines.append(level + functionName(record.function) + QStringLiteral(": ") + record.message);
    }
    return lines;
}

QString fastFolder()
{
    const QFileInfo memory(QStringLiteral("/dev/shm"));
    return memory.isDir() && memory.isWritable() ? memory.filePath() : QString();
}

ToolOptions byShell(const QString &script)
{
    ToolOptions options;
    options.prefix = QStringList{QStringLiteral("bash"), QStringLiteral("-c"), script};
    return options;
}

ToolOptions preloading(const QString &library)
{
    ToolOptions options;
    options.environment.insert(QStringLiteral("LD_PRELOAD"), library);
    // The sanitizer would refuse to start behind another library.
    const QString sanitizer = QString::fromLocal8Bit(qgetenv("ASAN_OPTIONS"));
    options.environment.insert(QStringLiteral("ASAN_OPTIONS"), sanitizer + QStringLiteral(":verify_asan_link_order=0"));
    return options;
}

QStringList filesBelow(const QString &directory)
{
    QStringList names;
    QDirIterator files(directory, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
    while (files.hasNext())
        names.append(QDir(directory).relativeFilePath(files.next()));
    names.sort();
    return names;
}
