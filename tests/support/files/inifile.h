#pragma once

#include <QSettings>
#include <QString>
#include <QStringList>
#include <functional>

/// A UTF-8 INI file as it is on disk at each call. Settings objects of one process share a cache per path, which misses
/// a change by another process within the same millisecond; this works on copies that have a path of their own.
class IniFile
{
public:
    explicit IniFile(const QString &path) : path_(path) {}

    /// Names of the groups, sorted; empty without a file.
    QStringList groups() const;
    QVariant value(const QString &key) const;
    /// All values by "group/key".
    QVariantMap values() const;
    /// Calls \a fill with the file's settings and puts the result in its place. Returns whether that worked.
    bool change(const std::function<void(QSettings &)> &fill) const;

private:
    QString path_;
};
