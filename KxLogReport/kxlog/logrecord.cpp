#include "kxlog/logrecord.h"

#include <QTextCodec>

#include <atomic>

namespace {

constexpr int kUtf8Mib = 106;

// The codec itself is asked only once: at the end of the process it may go while other threads log.
bool isUtf8(const QTextCodec *codec)
{
    static std::atomic<const QTextCodec *> known{nullptr};
    if (codec == nullptr || codec == known.load(std::memory_order_relaxed))
        return true;
    if (codec->mibEnum() != kUtf8Mib)
        return false;
    known.store(codec, std::memory_order_relaxed);
    return true;
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
