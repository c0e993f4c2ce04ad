#include "support/files/inifile.h"

#include "support/files/fileio.h"
#include "support/files/utf8settings.h"

#include <QFile>
#include <QTemporaryDir>

namespace {

/// Calls \a use with settings on \a copy and returns whether they are on disk afterwards.
bool withSettings(const QString &copy, const std::function<void(QSettings &)> &use)
{
    QSettings settings(copy, QSettings::IniFormat);
    useUtf8AsClientsDo(settings);
    use(settings);
    settings.sync();
    return settings.status() == QSettings::NoError;
}

/// A folder for a copy of an INI file; its name is never used again, unlike the file's own.
class Copy
{
public:
    explicit Copy(const QString &path) : path_(directory_.filePath(QStringLiteral("copy.ini")))
    {
        if (QFile::exists(path))
            writeFile(path_, readFile(path));
    }

    const QString &path() const { return path_; }

private:
    QTemporaryDir directory_;
    QString path_;
};

} // namespace

QStringList IniFile::groups() const
{
    QStringList groups;
    withSettings(Copy(path_).path(), [&](QSettings &settings) { groups = settings.childGroups(); });
    return groups;
}

QVariant IniFile::value(const QString &key) const
{
    QVariant value;
    withSettings(Copy(path_).path(), [&](QSettings &settings) { value = settings.value(key); });
    return value;
}

QVariantMap IniFile::values() const
{
    QVariantMap values;
    withSettings(Copy(path_).path(), [&](QSettings &settings) {
        const QStringList keys = settings.allKeys();
        for (const QString &key : keys)
            values.insert(key, settings.value(key));
    });
    return values;
}

bool IniFile::change(const std::function<void(QSettings &)> &fill) const
{
    const Copy copy(path_);
    if (!withSettings(copy.path(), fill))
        return false;
    // Without a single value there is no copy, and an empty file stands for that just as well.
    return writeFile(path_, readFile(copy.path()));
}
