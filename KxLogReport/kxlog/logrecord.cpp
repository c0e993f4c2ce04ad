#include "kxlog/logrecord.h"

#include "kxlog/logfile.h"

#include <atomic>
#include <cstdio>

#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)

#include <QTextCodec>

namespace {

constexpr int kUtf8Mib = 106;

// The codec itself is asked only once: at the end of the process it may go while other threads log.
bool isUtf8(const QTextCodec *codec)
{
    static std::atomic<const QTextCodec *> known{nullptr};
    if (codec == nullptr || codec == known.load(std::memory_order_relaxed))
        return true;
    const bool isOne = codec->mibEnum() == kUtf8Mib;
    if (isOne)
        known.store(codec, std::memory_order_relaxed);
    return isOne;
}

} // namespace

QByteArray encodeForLog(const QString &text)
{
    const QTextCodec *codec = QTextCodec::codecForLocale();
    return isUtf8(codec) ? text.toUtf8() : codec->fromUnicode(text);
}

bool logTakesAscii()
{
    return isUtf8(QTextCodec::codecForLocale());
}

#else

// On macOS and Linux it knows no other encoding of a locale.
QByteArray encodeForLog(const QString &text)
{
    return text.toUtf8();
}

bool logTakesAscii()
{
    return true;
}

#endif

namespace {

void echo(const char *line, std::size_t size)
{
    std::fwrite(line, 1, size, stderr);
    std::fflush(stderr);
}

} // namespace

void writeRecord(const QFile *file, bool isEchoed, const char *record, std::size_t size)
{
    if (isEchoed) {
        // The echo is text and ends at a zero byte, its line feed does not.
        const auto *end = static_cast<const char *>(std::memchr(record, 0, size));
        if (end == nullptr) {
            echo(record, size);
        } else {
            const QByteArray line = QByteArray(record, static_cast<int>(end - record)) + '\n';
            echo(line.constData(), static_cast<std::size_t>(line.size()));
        }
    }
    LogFile::append(file, record, size);
}
