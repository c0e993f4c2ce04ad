#pragma once

#include <QFile>

/// A file opened for upload, read as it was at that moment.
///
/// size() is frozen by a successful open(): bytes appended later are not read, and if the file ends before the frozen
/// size a read fails with -1, which the network stack reports as a transport error.
class SnapshotFile : public QFile
{
public:
    SnapshotFile(const QString &path, QObject *parent);

    /// Opens the file and freezes its size. Reads are unbuffered whatever \a mode says.
    bool open(OpenMode mode) override;
    /// The size at the open; of a file that is not open, its size now.
    qint64 size() const override;
    /// Whether all of the snapshot has been read; also true when the file is not open.
    bool atEnd() const override;

protected:
    qint64 readData(char *data, qint64 maxSize) override;

private:
    qint64 frozenSize_ = 0;
};
