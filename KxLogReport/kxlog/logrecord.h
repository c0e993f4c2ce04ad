#pragma once

#include <QByteArray>
#include <QLatin1String>
#include <QString>

#include <array>
#include <cstddef>
#include <cstring>
#include <limits>
#include <type_traits>

class QFile;

/// The bytes of \a text in the encoding of the locale, from any thread.
///
/// Where Qt has taken its codecs down already, at the very end of the process, the encoding is UTF-8.
QByteArray encodeForLog(const QString &text);

/// Writes a record, whose last byte is its line feed, to standard error, when it \a isEchoed, and then to \a file, see
/// LogFile::append(). One call each: nothing of other threads comes between. As text, the echo ends at a zero byte.
void writeRecord(const QFile *file, bool isEchoed, const char *record, std::size_t size);

/// Whether ASCII characters are the same bytes in the encoding of the locale: in UTF-8 they are, others do not count.
bool logTakesAscii();

/// A record put together on the stack, as most can be: of ASCII characters, and not long. All of it is inline, since a
/// call for each piece would cost as much as the piece.
class AsciiRecord
{
public:
    void append(char character) { appendAll(&character, 1); }
    /// \a text is "" if null.
    void append(const char *text)
    {
        if (text != nullptr)
            appendAll(text, std::strlen(text));
    }
    void append(QLatin1String text) { appendAll(text.data(), static_cast<std::size_t>(text.size())); }
    void append(const QString &text) { appendAll(text.utf16(), static_cast<std::size_t>(text.size())); }
    /// A negative \a number, as no line is, does not fit.
    void append(int number)
    {
        std::array<char, std::numeric_limits<int>::digits10 + 1> digits;
        std::size_t start = digits.size();
        isComplete_ = isComplete_ && number >= 0;
        do {
            digits.at(--start) = static_cast<char>('0' + number % 10);
            number /= 10;
        } while (number > 0);
        appendAll(digits.data() + start, digits.size() - start);
    }

    /// Whether all that was appended is there; otherwise what there is means nothing.
    bool isComplete() const { return isComplete_; }
    const char *data() const { return bytes_.data(); }
    std::size_t size() const { return size_; }

private:
    template<typename Character>
    void appendAll(const Character *text, std::size_t size)
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

    std::array<char, 2048> bytes_; // not initialised: that would cost more than what is written into it
    std::size_t size_ = 0;
    bool isComplete_ = true;
};
