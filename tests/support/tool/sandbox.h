#pragma once

#include "support/tool/toolrun.h"

#include <QTemporaryDir>
#include <functional>
#include <memory>

class QSettings;

/// A throw-away installation of the built tool: app/ with a copy of it, app/config/, app/logs/, and a home of its own.
///
///     Sandbox sandbox;
///     const QString log = sandbox.addFile(QStringLiteral("logs/log1.log"), "some text");
///     sandbox.writeIni([&](QSettings &ini) { ini.setValue(QStringLiteral("log1/path"), log); });
///     const ToolResult result = sandbox.runTool({});
///     QVERIFY2(result.isSuccess(), result.describe());
class Sandbox
{
public:
    /// Installs \a tool in a new folder below \a parent, which is made if need be (and removed at the end if it was);
    /// empty: in the system's folder for temporary files.
    explicit Sandbox(const QString &tool = builtTool(), const QString &parent = QString());
    ~Sandbox();
    Sandbox(const Sandbox &) = delete;
    Sandbox &operator=(const Sandbox &) = delete;

    /// Path of the tool of this build; empty when the build has none.
    static QString builtTool();

    /// False when the folder or the copy of the tool could not be made: QVERIFY(sandbox.isValid()).
    bool isValid() const { return valid_; }

    QString root() const { return root_; }
    QString home() const { return root_ + QStringLiteral("/home"); }
    /// The tool's applicationDirPath(), symbolic links resolved.
    QString appDirectory() const { return root_ + QStringLiteral("/app"); }
    QString toolPath() const;

    QString iniPath() const { return appDirectory() + QStringLiteral("/config/upload.ini"); }
    /// Opens upload.ini as UTF-8 INI settings, adding to what is there, and calls \a fill. Returns whether it is on
    /// disk.
    bool writeIni(const std::function<void(QSettings &)> &fill) const;
    bool writeRawIni(const QByteArray &bytes) const;
    /// The file's bytes; null without a file.
    QByteArray iniBytes() const;
    /// The groups that are on disk now, sorted.
    QStringList groups() const;
    /// What is on disk now under "group/key".
    QVariant iniValue(const QString &key) const;

    /// Writes a file at \a name, relative to appDirectory(), making its folders. Returns its absolute path, empty on
    /// failure.
    QString addFile(const QString &name, const QByteArray &bytes) const;

    /// Where the tool keeps its logs: the app directory below /Applications, else its configuration folder at home.
    QString baseDirectory() const;
    QString logDirectory() const { return baseDirectory() + QStringLiteral("/logs/upload"); }
    QString sdkLogDirectory() const { return baseDirectory() + QStringLiteral("/sdk_log"); }
    /// Absolute paths of the tool's own logs, oldest first.
    QStringList ownLogs() const;
    /// Contents of the newest of them; null without one.
    QByteArray ownLogText() const;

    /// All that a run gets of the environment: PATH, HOME, LANG=C.UTF-8, and of the caller's TZ, library paths and
    /// sanitizer options.
    QProcessEnvironment environment() const;
    /// Runs the tool to its end, blocking; killed after \a timeoutMs. It starts in root(), with environment() and the
    /// additions of \a options.
    ToolResult runTool(const QStringList &arguments, int timeoutMs = 6 * kPromptMs,
                       const ToolOptions &options = {}) const;
    /// Starts the tool and returns; for tests that watch it or end it.
    std::unique_ptr<ToolRun> startTool(const QStringList &arguments, const ToolOptions &options = {}) const;

private:
    void install(const QString &tool, const QString &parent);

    QString toolName_;
    QString madeParent_; ///< highest folder that was made to hold the sandbox; empty without one
    QString parent_;
    std::unique_ptr<QTemporaryDir> directory_;
    QString root_;
    bool valid_ = false;
    mutable int runs_ = 0;
};
