#include "kxlog/logrecord.h"

#include <QTextCodec>

#include <atomic>
#include <charconv>
#include <cstring>

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

template<typename Character>
void AsciiRecord::appendAll(const Character *text, std::size_t size)
{
    if (size > bytes_.size() - size_) {
        isComplete_ = false;
        return;
    }
    unsigned all = 0;
    char *to = bytes_.data() + size_;
    for (std::size_t i = 0; i < size; ++i) {
        const auto unit = static_cast<std::make_unsigned_t<Character>>(text[i]);
        all |= unit;
        to[i] = static_cast<char>(unit);
    }
    size_ += size;
    isComplete_ = isComplete_ && all < 0x80;
}

void AsciiRecord::append(char character)
{
    appendAll(&character, 1);
}

void AsciiRecord::append(const char *text)
{
    if (text != nullptr)
        appendAll(text, std::strlen(text));
}

void AsciiRecord::append(QLatin1String text)
{
    appendAll(text.data(), static_cast<std::size_t>(text.size()));
}

void AsciiRecord::append(const QString &text)
{
    appendAll(text.utf16(), static_cast<std::size_t>(text.size()));
}

void AsciiRecord::append(int number)
{
    char *const end = bytes_.data() + bytes_.size();
    const std::to_chars_result result = std::to_chars(bytes_.data() + size_, end, number);
    isComplete_ = isComplete_ && result.ec == std::errc();
    size_ = static_cast<std::size_t>(result.ptr - bytes_.data());
}
