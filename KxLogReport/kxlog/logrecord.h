#pragma once

#include <QByteArray>
#include <QLatin1String>
#include <QString>

#include <array>
#include <cstddef>

/// The bytes of \a text in the encoding of the locale, from any thread.
///
/// Where Qt has taken its codecs down already, at the very end of the process, the encoding is UTF-8.
QByteArray encodeForLog(const QString &text);

/// Whether ASCII characters are the same bytes in the encoding of the locale: in UTF-8 they are, others do not count.
bool logTakesAscii();

/// A record put together on the stack, as most can be: of ASCII characters, and not long.
class AsciiRecord
{
public:
    void append(char character);
    /// \a text is "" if null.
    void append(const char *text);
    void append(QLatin1String text);
    void append(const QString &text);
    void append(int number);

    /// Whether all that was appended is there; otherwise what there is means nothing.
    bool isComplete() const { return isComplete_; }
    const char *data() const { return bytes_.data(); }
    std::size_t size() const { return size_; }

private:
    template<typename Character>
    void appendAll(const Character *text, std::size_t size);

    std::array<char, 2048> bytes_; // not initialised: that would cost more than what is written into it
    std::size_t size_ = 0;
    bool isComplete_ = true;
};
