#pragma once

#include <QDateTime>
#include <QPair>
#include <QSettings>
#include <QString>
#include <QStringList>
#include <QVariant>

/// The client's list, "upload.ini": read as it stands, and written only to give groups up.
///
/// A damaged file takes neither the process nor its own other groups with it. Qt trusts the counts of serialised lists,
/// and throws std::bad_alloc from whatever looks at a group whose list claims to be huge. It follows nested values as
/// deep as they go, and cannot write a time whose zone it could not read; both would end the process. A file with any
/// of them stays as it is to the last byte.
class UploadList : public QSettings
{
public:
    /// Takes over what is on disk at \a path.
    explicit UploadList(const QString &path);

    /// Whether the file could be read without harm at first; if not, it reads as an empty one.
    bool isReadable() const { return readable_; }
    /// Whether the values of \a group can be read; also true when there is no such group.
    bool isReadable(const QString &group) const;
    /// The value of \a key in \a group; \a fallback when there is none, or when it cannot be read.
    QVariant read(const QString &group, const QString &key, const QVariant &fallback = QVariant()) const;
    /// The keys of \a group; none when they cannot be read.
    QStringList keys(const QString &group);
    /// Names of all groups that have one, sorted.
    QStringList groups() const;

    /// Removes \a group with all its keys, on disk too, and with it those that could not be removed before.
    /// Returns whether they are gone. If not, they are tried again with the next group and when the application quits.
    bool giveUp(const QString &group);

protected:
    /// Keeps Qt from writing by itself, without the checks, what could not be written before.
    bool event(QEvent *event) override;

private:
    using State = QPair<qint64, QDateTime>; ///< size and time, by which Qt notices that a file has changed

    State stateOnDisk() const;
    bool takeOverChanges();
    bool giveUpKept();
    bool removeKept();

    const bool readable_;
    State known_ = {-1, {}}; ///< of the file whose values were looked at
    QStringList kept_;       ///< groups that are still to be removed
    bool hasFailed_ = false; ///< they are removed in memory only
};
