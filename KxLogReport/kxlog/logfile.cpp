#include "kxlog/logfile.h"

#include <QByteArray>

#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

/// A descriptor that belongs to log files for as long as the process lives.
struct LogFile::Slot
{
    explicit Slot(int number) : descriptor(number) {}

    const int descriptor;
    std::atomic<bool> isTaken{true};
    std::atomic<unsigned> stumps{0};          ///< records that were cut short since one ended the last of them
    std::atomic<const QFile *> file{nullptr}; ///< null while nobody may write
    Slot *next = nullptr;                     ///< never changes once the slot is in the list
    static std::atomic<Slot *> first;
};

// Never freed: whoever walks through the list needs no protection, at the end of the process neither. As long as the
// largest number of log files that were open at once.
std::atomic<LogFile::Slot *> LogFile::Slot::first{nullptr};

namespace {

constexpr char kMissingLineEnd[] = "\r\n\n";

/// Makes \a number another name of the open file \a descriptor, which is closed.
void moveDescriptor(int descriptor, int number)
{
    while (::dup2(descriptor, number) == -1 && errno == EINTR) {
    }
    ::fcntl(number, F_SETFD, FD_CLOEXEC);
    ::close(descriptor);
}

int openDescriptor(const char *path, int flags)
{
    const int descriptor = ::open(path, flags | O_WRONLY | O_CLOEXEC, 0666);
    if (descriptor == -1 || descriptor > STDERR_FILENO)
        return descriptor;
    const int moved = ::fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    ::close(descriptor);
    return moved;
}

ssize_t writeOnce(int descriptor, const char *bytes, std::size_t size)
{
    ssize_t written = -1;
    do {
        written = ::write(descriptor, bytes, size);
    } while (written == -1 && errno == EINTR);
    return written;
}

} // namespace

LogFile::LogFile(const QString &name, std::unique_ptr<QFile> earlier)
    : QFile(name), name_(name), earlier_(std::move(earlier))
{
}

LogFile::~LogFile()
{
    LogFile::close();
}

// A file that is opened by its descriptor has no name for Qt.
QString LogFile::fileName() const
{
    return name_;
}

bool LogFile::open(OpenMode mode)
{
    const int descriptor = openDescriptor(encodeName(name_).constData(), O_APPEND | O_CREAT | O_NOFOLLOW);
    if (descriptor == -1)
        return false;
    Slot *const slot = take(descriptor);
    if (!QFile::open(slot->descriptor, mode, DontCloseHandle)) {
        slot->isTaken.store(false);
        return false;
    }
    slot->stumps.store(0);
    slot->file.store(this);
    return true;
}

void LogFile::close()
{
    QFile::close();
    Slot *const slot = find(this);
    if (slot == nullptr)
        return;
    slot->file.store(nullptr);
    // Without a descriptor left for it, the number stays with the file that was closed, which does no harm either.
    const int nowhere = openDescriptor("/dev/null", 0);
    if (nowhere != -1)
        moveDescriptor(nowhere, slot->descriptor);
    slot->isTaken.store(false);
}

void LogFile::append(const QFile *file, const char *record, std::size_t size)
{
    Slot *const slot = find(file);
    if (slot == nullptr)
        return;
    unsigned stumps = slot->stumps.load(std::memory_order_relaxed);
    QByteArray whole;
    if (stumps != 0) {
        whole = kMissingLineEnd + QByteArray(record, static_cast<int>(size));
        record = whole.constData();
        size = static_cast<std::size_t>(whole.size());
    }
    const ssize_t written = writeOnce(slot->descriptor, record, size);
    if (written > 0 && static_cast<std::size_t>(written) < size)
        slot->stumps.fetch_add(1);
    else if (written > 0 && stumps != 0) // unless another thread has left one meanwhile
        slot->stumps.compare_exchange_strong(stumps, 0);
}

LogFile::Slot *LogFile::find(const QFile *file)
{
    if (file == nullptr)
        return nullptr;
    Slot *slot = Slot::first.load(std::memory_order_acquire);
    while (slot != nullptr && slot->file.load(std::memory_order_acquire) != file)
        slot = slot->next;
    return slot;
}

/// A slot that leads to the file that \a descriptor does.
LogFile::Slot *LogFile::take(int descriptor)
{
    for (Slot *slot = Slot::first.load(std::memory_order_acquire); slot != nullptr; slot = slot->next) {
        if (!slot->isTaken.exchange(true)) {
            moveDescriptor(descriptor, slot->descriptor);
            return slot;
        }
    }
    auto *slot = new Slot(descriptor);
    slot->next = Slot::first.load(std::memory_order_relaxed);
    while (!Slot::first.compare_exchange_weak(slot->next, slot, std::memory_order_release)) {
    }
    return slot;
}
