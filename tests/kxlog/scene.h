#pragma once

#include "support/files/fileio.h"
#include "support/tool/toolrun.h"

#include <QDir>
#include <QProcessEnvironment>
#include <QTemporaryDir>

/// A run of logscene with a folder of its own.
class Scene
{
public:
    /// Plays \a name with its number \a count to the end, with \a variables in the environment.
    explicit Scene(const QString &name, int count = 0, const QMap<QString, QString> &variables = {})
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("QT_FORCE_STDERR_LOGGING"), QStringLiteral("1"));
        for (auto variable = variables.begin(); variable != variables.end(); ++variable)
            environment.insert(variable.key(), variable.value());
        ToolRun run({QStringLiteral(KX_LOG_SCENE), name, folder(), QString::number(count)}, root_.path(), environment,
                    root_.filePath(QStringLiteral("output")));
        result_ = run.finish(100000);
    }

    const ToolResult &result() const { return result_; }
    QString folder() const { return root_.filePath(QStringLiteral("logs")); }
    /// Names of the logs, in order.
    QStringList logs() const { return QDir(folder()).entryList({QStringLiteral("upload_*.log")}, QDir::Files); }
    /// The text of all logs.
    QByteArray text() const
    {
        QByteArray all;
        for (const QString &name : logs())
            all += readFile(folder() + QLatin1Char('/') + name);
        return all;
    }

private:
    QTemporaryDir root_;
    ToolResult result_;
};
