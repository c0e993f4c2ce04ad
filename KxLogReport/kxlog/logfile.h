#pragma once

#include <QFile>

#include <cstddef>
#include <memory>

/// A log file: opened for appending, written by any thread, closed by its owner whatever they are just writing.
///
/// Nothing is kept in a buffer: what append() has handed to the system survives the end of the process, and no fork
/// writes it twice. The file never has the number of a standard descriptor. Numbers of closed files are kept for later
/// log files and lead nowhere until then, so that a writer who is late writes to no file of somebody else.
class LogFile : public QFile
{
public:
    /// A file that is not open yet. \a earlier, which may be null, stays as it is until this object goes.
    LogFile(const QString &name, std::unique_ptr<QFile> earlier);
    ~LogFile() override;

    QString fileName() const override;
    /// Opens the file, which is created if need be; \a mode is WriteOnly | Append. A link is not followed.
    bool open(OpenMode mode) override;
    /// Whoever calls append() from here on, or still does, writes nothing. Not at once with open().
    void close() override;

    /// Appends the \a size bytes at \a record to \a file in one write, from any thread and without a lock.
    ///
    /// Only the address of \a file is used, which may be null, closed or gone; then nothing happens. Failures are
    /// ignored. A record that the disk cuts short loses the rest, and the next one that finds space begins with the
    /// missing line end, CR LF LF; so do those that other threads write at the same time.
    static void append(const QFile *file, const char *record, std::size_t size);

private:
    struct Slot;

    static Slot *find(const QFile *file);
    static Slot *take(int descriptor);

    QString name_;
    std::unique_ptr<QFile> earlier_;
};
