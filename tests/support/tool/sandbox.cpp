#include "support/tool/sandbox.h"

#include "support/files/fileio.h"
#include "support/files/inifile.h"

#include <QDir>
#include <QFileInfo>

namespace {

/// The highest folder on the way to \a path that does not exist; empty when all do.
QString firstMissing(const QString &path)
{
    QString missing;
    for (QFileInfo info(path); !info.exists(); info = QFileInfo(info.absolutePath()))
        missing = info.absoluteFilePath();
    return missing;
}

} // namespace

Sandbox::Sandbox(const QString &tool, const QString &parent) : toolName_(QFileInfo(tool).fileName())
{
    install(tool, parent);
}

Sandbox::~Sandbox()
{
    directory_.reset();
    // Only what was made for this sandbox, and only while nobody else has put anything there.
    for (QString path = parent_; !madeParent_.isEmpty() && path.startsWith(madeParent_) && QDir().rmdir(path);)
        path = QFileInfo(path).absolutePath();
}

void Sandbox::install(const QString &tool, const QString &parent)
{
    parent_ = parent.isEmpty() ? QDir::tempPath() : QDir::cleanPath(QDir(parent).absolutePath());
    madeParent_ = firstMissing(parent_);
    if (!QDir().mkpath(parent_))
        return;
    directory_ = std::make_unique<QTemporaryDir>(parent_ + QStringLiteral("/kx-XXXXXX"));
    if (!directory_->isValid())
        return;
    // The tool sees its folder with all symbolic links resolved, and tests compare with what it sees.
    root_ = QDir(directory_->path()).canonicalPath();
    const QDir app(appDirectory());
    valid_ = app.mkpath(QStringLiteral("config")) && app.mkpath(QStringLiteral("logs")) && QDir().mkpath(home()) &&
             QFile::copy(tool, toolPath());
}

QString Sandbox::builtTool()
{
#ifdef KX_TOOL_PATH
    return QStringLiteral(KX_TOOL_PATH);
#else
    return QString();
#endif
}

QString Sandbox::toolPath() const
{
    return appDirectory() + QLatin1Char('/') + toolName_;
}

bool Sandbox::writeIni(const std::function<void(QSettings &)> &fill) const
{
    return IniFile(iniPath()).change(fill);
}

bool Sandbox::writeRawIni(const QByteArray &bytes) const
{
    return writeFile(iniPath(), bytes);
}

QByteArray Sandbox::iniBytes() const
{
    return readFile(iniPath());
}

QStringList Sandbox::groups() const
{
    return IniFile(iniPath()).groups();
}

QVariant Sandbox::iniValue(const QString &key) const
{
    return IniFile(iniPath()).value(key);
}

QString Sandbox::addFile(const QString &name, const QByteArray &bytes) const
{
    const QFileInfo info(QDir::cleanPath(appDirectory() + QLatin1Char('/') + name));
    const bool written = QDir().mkpath(info.absolutePath()) && writeFile(info.absoluteFilePath(), bytes);
    return written ? info.absoluteFilePath() : QString();
}

QString Sandbox::baseDirectory() const
{
    if (appDirectory().startsWith(QLatin1String("/Applications")))
        return appDirectory();
#ifdef Q_OS_MACOS
    return home() + QStringLiteral("/Library/Preferences/") + toolName_;
#else
    return home() + QStringLiteral("/.config/") + toolName_;
#endif
}

QStringList Sandbox::ownLogs() const
{
    const QDir directory(logDirectory());
    QStringList paths;
    for (const QString &name : directory.entryList({QStringLiteral("upload_*.log")}, QDir::Files, QDir::Name))
        paths.append(directory.absoluteFilePath(name));
    return paths;
}

QByteArray Sandbox::ownLogText() const
{
    const QStringList logs = ownLogs();
    return logs.isEmpty() ? QByteArray() : readFile(logs.last());
}

QProcessEnvironment Sandbox::environment() const
{
    QProcessEnvironment environment;
    const QProcessEnvironment caller = QProcessEnvironment::systemEnvironment();
    for (const char *name :
         {"PATH", "TZ", "LD_LIBRARY_PATH", "DYLD_LIBRARY_PATH", "DYLD_FRAMEWORK_PATH", "QT_PLUGIN_PATH", "ASAN_OPTIONS",
          "UBSAN_OPTIONS", "LSAN_OPTIONS", "TSAN_OPTIONS", "LLVM_PROFILE_FILE"}) {
        const QString key = QString::fromLatin1(name);
        if (caller.contains(key))
            environment.insert(key, caller.value(key));
    }
    environment.insert(QStringLiteral("LANG"), QStringLiteral("C.UTF-8"));
    environment.insert(QStringLiteral("HOME"), home());
#ifdef Q_OS_MACOS
    // The folders of the system's own library do not follow HOME.
    environment.insert(QStringLiteral("CFFIXED_USER_HOME"), home());
#endif
    return environment;
}

ToolResult Sandbox::runTool(const QStringList &arguments, int timeoutMs, const ToolOptions &options) const
{
    return startTool(arguments, options)->finish(timeoutMs);
}

std::unique_ptr<ToolRun> Sandbox::startTool(const QStringList &arguments, const ToolOptions &options) const
{
    QProcessEnvironment variables = environment();
    for (auto addition = options.environment.begin(); addition != options.environment.end(); ++addition)
        variables.insert(addition.key(), addition.value());
    const QString output = root_ + QStringLiteral("/run%1").arg(++runs_);
    return std::make_unique<ToolRun>(options.prefix + QStringList(toolPath()) + arguments, root_, variables, output);
}
