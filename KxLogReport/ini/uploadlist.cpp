#include "ini/uploadlist.h"

#include "ini/inicodec.h"

#include <QCoreApplication>
#include <QEvent>
#include <QFile>
#include <QFileInfo>
#include <QStorageInfo>
#include <QTimeZone>

#include <algorithm>
#include <new>

namespace {

// Nested values exhaust a stack of 8 MiB from 25,000 levels on, which take 200,000 bytes of one line.
constexpr int kMaxValueLine = 64 * 1024;

// A byte of the file takes up to four when Qt writes it: "\x1f" stands for one.
constexpr qint64 kMaxGrowth = 4;
// For the lock, and because others write to the same disk meanwhile.
constexpr qint64 kSpareBytes = qint64{64} * 1024;

/// What cannot be read is empty for settings objects as well.
QByteArray bytesOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// Whether all lines that can hold a serialised value are short enough to be read. A line goes on behind a backslash.
bool hasShortValues(QByteArray bytes)
{
    bytes.replace("\\\\", "..").replace("\r\n", "\n").replace('\r', '\n').replace("\\\n", "\\");
    const QList<QByteArray> lines = bytes.split('\n');
    return std::none_of(lines.cbegin(), lines.cend(), [](const QByteArray &line) {
        return line.size() > kMaxValueLine && (line.contains('@') || line.contains('\\'));
    });
}

/// Qt ends the process when it writes a time with a zone that it could not read.
bool canBeWritten(const QVariant &value)
{
    if (value.userType() == QMetaType::QDateTime) {
        const QDateTime time = value.toDateTime();
        return time.timeSpec() != Qt::TimeZone || time.timeZone().isValid();
    }
    if (value.userType() == QMetaType::QVariantList) {
        const QVariantList values = value.toList();
        return std::all_of(values.cbegin(), values.cend(), canBeWritten);
    }
    return true;
}

/// Whether settings objects find the value of a key by it. They take slashes at its ends and double ones out, which
/// stand for a group or key without a name.
bool canBeAskedFor(const QString &key)
{
    return !key.isEmpty() && !key.startsWith(QLatin1Char('/')) && !key.endsWith(QLatin1Char('/')) &&
           !key.contains(QLatin1String("//"));
}

bool hasSpaceToRewrite(const QString &path)
{
    // Where a link leads: Qt writes the file there.
    const QFileInfo file(path);
    return !file.exists() || QStorageInfo(path).bytesAvailable() >= kMaxGrowth * file.size() + kSpareBytes;
}

/// What stands in brackets, for a file of which Qt does not tell the groups because it cannot read one of them.
QStringList namesInBrackets(const QString &path)
{
    QStringList names;
    const QList<QByteArray> lines = bytesOf(path).split('\n');
    for (const QByteArray &raw : lines) {
        const QByteArray line = raw.trimmed();
        if (line.startsWith('[') && line.endsWith(']'))
            names += QString::fromLatin1(QByteArray::fromPercentEncoding(line.mid(1, line.size() - 2)))
                         .section(QLatin1Char('/'), 0, 0);
    }
    names.sort();
    names.removeDuplicates();
    return names;
}

} // namespace

UploadList::UploadList(const QString &path)
    : QSettings(path, QSettings::IniFormat), readable_(hasShortValues(bytesOf(path)))
{
    useUtf8(*this);
    connect(qApp, &QCoreApplication::aboutToQuit, this, [this] { giveUpKept(); });
}

bool UploadList::isReadable(const QString &group) const
{
    try {
        // Qt reads the values of a group when one of them is asked for.
        if (readable_)
            contains(group + QStringLiteral("/path"));
        return readable_;
    } catch (const std::bad_alloc &) {
        return false;
    }
}

QVariant UploadList::read(const QString &group, const QString &key, const QVariant &fallback) const
{
    try {
        // Another key than isReadable() asks for may stand in another section, "[group/inner]".
        return isReadable(group) ? value(group + QLatin1Char('/') + key, fallback) : fallback;
    } catch (const std::bad_alloc &) {
        return fallback;
    }
}

QStringList UploadList::keys(const QString &group)
{
    if (!isReadable(group))
        return {};
    QStringList keys;
    beginGroup(group);
    try {
        keys = childKeys();
    } catch (const std::bad_alloc &) {
        keys.clear();
    }
    endGroup();
    return keys;
}

QStringList UploadList::groups() const
{
    QStringList names;
    try {
        if (readable_)
            names = childGroups();
    } catch (const std::bad_alloc &) {
        names = namesInBrackets(fileName());
    }
    // A damaged file may have a group without a name, which cannot be entered.
    names.removeAll(QString());
    return names;
}

bool UploadList::giveUp(const QString &group)
{
    if (!kept_.contains(group))
        kept_ += group;
    return giveUpKept();
}

bool UploadList::event(QEvent *event)
{
    return event->type() == QEvent::UpdateRequest || QSettings::event(event);
}

UploadList::State UploadList::stateOnDisk() const
{
    const QFileInfo file(fileName());
    return {file.size(), file.lastModified()};
}

/// Returns whether all that is on disk can be written again.
bool UploadList::takeOverChanges()
{
    const State state = stateOnDisk();
    if (state == known_)
        return true;
    const QByteArray bytes = bytesOf(fileName());
    if (!hasShortValues(bytes))
        return false;
    // Without the right to read it, it would be an empty file.
    const QFileInfo file(fileName());
    if (file.exists() && !file.isReadable())
        return false;
    sync();
    const bool hasTimes = bytes.contains("@DateTime(");
    const QStringList keys = allKeys();
    const bool isSound = std::all_of(keys.cbegin(), keys.cend(), [&](const QString &key) {
        return canBeAskedFor(key) ? canBeWritten(value(key)) : !hasTimes;
    });
    if (isSound)
        known_ = state;
    return isSound;
}

bool UploadList::giveUpKept()
{
    try {
        if (kept_.isEmpty())
            return true;
        if (!takeOverChanges() || !hasSpaceToRewrite(fileName()) || !removeKept())
            return false;
    } catch (const std::bad_alloc &) {
        return false;
    }
    kept_.clear();
    return true;
}

bool UploadList::removeKept()
{
    bool isListed = hasFailed_;
    for (const QString &group : qAsConst(kept_)) {
        beginGroup(group);
        // Without a name it would be the whole file that is removed.
        const bool isNamed = !this->group().isEmpty();
        isListed = isListed || (isNamed && !allKeys().isEmpty());
        if (isNamed)
            remove(QString());
        endGroup();
        if (isNamed)
            remove(group);
    }
    sync();
    const State state = stateOnDisk();
    // A status that is not good stays so, and may be about a line of the file that is none.
    hasFailed_ = status() != NoError && isListed && state == known_;
    known_ = state;
    return !hasFailed_;
}
