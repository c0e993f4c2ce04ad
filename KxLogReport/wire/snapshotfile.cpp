#include "wire/snapshotfile.h"

SnapshotFile::SnapshotFile(const QString &path, QObject *parent) : QFile(path, parent) {}

bool SnapshotFile::open(OpenMode mode)
{
    // Unbuffered, so that pos() is where readData() reads.
    if (!QFile::open(mode | QIODevice::Unbuffered))
        return false;
    frozenSize_ = QFile::size();
    return true;
}

qint64 SnapshotFile::size() const
{
    return isOpen() ? frozenSize_ : QFile::size();
}

bool SnapshotFile::atEnd() const
{
    return !isOpen() || pos() >= frozenSize_;
}

qint64 SnapshotFile::readData(char *data, qint64 maxSize)
{
    const qint64 wanted = qMin(maxSize, frozenSize_ - pos());
    if (wanted <= 0)
        return 0;
    const qint64 got = QFile::readData(data, wanted);
    // The writer of the file has cut it short: less than what was announced can only be an error.
    return got > 0 ? got : -1;
}
