#include "inicheck.h"

#include "variantcheck.h"

#include <QFile>
#include <QLockFile>
#include <QSaveFile>

#include <QTextCodec>
#include <optional>

namespace {

constexpr int kLockMs = 1000;

bool isLineEnd(char character)
{
    return character == '\n' || character == '\r';
}

// Where a piece of plain text ends at the latest. Only the first two matter to Qt; the others keep the pieces short.
bool endsRun(char character)
{
    return character == '\\' || character == '"' || character == ',' || character == '@' || isLineEnd(character);
}

int hexDigit(char character)
{
    if (character >= '0' && character <= '9')
        return character - '0';
    if (character >= 'a' && character <= 'f')
        return character - 'a' + 10;
    if (character >= 'A' && character <= 'F')
        return character - 'A' + 10;
    return -1;
}

/// Reads the text of a value as settings objects do, from any place of it on, and does not stop at its end: what is
/// harmless with more behind it is harmless without.
class ValueText
{
public:
    ValueText(const QByteArray &iniBytes, int from) : ini(iniBytes), position(from) {}

    /// Whether a quotation mark was passed: what Qt drops behind one depends on more than was read here.
    bool hasPassedQuote() const { return passedQuote; }
    int rawPosition() const { return position; }
    qint64 rawLeft() const { return ini.size() - position + text.size() - used; }

    /// The next character as a byte of Latin 1, as which Qt takes serialised values; "?" for what has none.
    bool next(uchar &byte)
    {
        while (used == text.size()) {
            if (position >= ini.size())
                return false;
            readMore();
        }
        const ushort character = text.at(used++).unicode();
        byte = character > 0xff ? uchar('?') : static_cast<uchar>(character);
        return true;
    }

    bool skip(const char *expected)
    {
        uchar byte = 0;
        for (; *expected != '\0'; ++expected) {
            if (!next(byte) || byte != static_cast<uchar>(*expected))
                return false;
        }
        return true;
    }

    /// Steps over one character of the file or one whole escape. Returns whether that was an "@".
    bool stepOverSign()
    {
        text.clear();
        if (ini.at(position) == '\\')
            readEscape();
        else
            text = QLatin1Char(ini.at(position++));
        return text == QLatin1String("@");
    }

private:
    void readMore()
    {
        text.clear();
        used = 0;
        if (ini.at(position) == '\\') {
            readEscape();
        } else if (ini.at(position) == '"') {
            passedQuote = true;
            ++position;
        } else {
            const int begin = position++;
            while (position < ini.size() && !endsRun(ini.at(position)))
                ++position;
            static const QTextCodec *const codec = QTextCodec::codecForName("UTF-8");
            text = codec->toUnicode(ini.constData() + begin, position - begin);
        }
    }

    void readEscape()
    {
        ++position;
        if (position == ini.size())
            return;
        const char character = ini.at(position++);
        static const QByteArray letters = QByteArrayLiteral("abfnrtv\"?'\\");
        static const QByteArray meanings = QByteArrayLiteral("\a\b\f\n\r\t\v\"?'\\");
        const int letter = letters.indexOf(character);
        if (letter >= 0)
            text = QLatin1Char(meanings.at(letter));
        else if (character == 'x' && digitAt(position, 16) >= 0)
            readDigits(16);
        else if (character >= '0' && character <= '7') {
            --position;
            readDigits(8);
        } else if (isLineEnd(character) && position < ini.size() && isLineEnd(ini.at(position)) &&
                   ini.at(position) != character) {
            ++position;
        }
    }

    int digitAt(int place, int base) const
    {
        const int digit = place < ini.size() ? hexDigit(ini.at(place)) : -1;
        return digit < base ? digit : -1;
    }

    // However many there are: what does not fit into 16 bits drops out in front.
    void readDigits(int base)
    {
        uint value = 0;
        for (int digit = digitAt(position, base); digit >= 0; digit = digitAt(++position, base))
            value = (value * static_cast<uint>(base) + static_cast<uint>(digit)) & 0xffffU;
        text = QChar(value);
    }

    const QByteArray &ini;
    int position;
    QString text; ///< what was read of the file last
    int used = 0; ///< characters of it that were handed out
    bool passedQuote = false;
};

bool isHarmful(ValueText text, const char *prefix, VariantForm form)
{
    if (!text.skip(prefix))
        return false;
    const VariantBytes bytes = {[&](uchar &byte) { return text.next(byte); }, [&] { return text.rawLeft(); }};
    return !isHarmlessVariant(bytes, form) || text.hasPassedQuote();
}

/// Nothing when the file could not be read to its end.
std::optional<QByteArray> readAll(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QByteArray bytes = file.readAll();
    if (file.error() != QFileDevice::NoError)
        return {};
    return bytes;
}

} // namespace

QByteArray withoutHarmfulValues(const QByteArray &ini)
{
    QByteArray result;
    int copied = 0;
    for (ValueText text(ini, 0); text.rawPosition() < ini.size();) {
        const int position = text.rawPosition();
        // Behind another "@" it is plain text.
        if (!text.stepOverSign() || (position > 0 && ini.at(position - 1) == '@'))
            continue;
        const ValueText value(ini, position);
        if (isHarmful(value, "@Variant(", VariantForm::Qt40) ||
            isHarmful(value, "@DateTime(", VariantForm::Qt56DateTime)) {
            result += ini.mid(copied, position - copied) + '@';
            copied = position;
        }
    }
    return copied == 0 ? ini : result + ini.mid(copied);
}

bool takeHarmfulValuesOut(const QString &path)
{
    const std::optional<QByteArray> found = readAll(path);
    // What cannot be read is empty for settings objects as well.
    if (!found || withoutHarmfulValues(*found) == *found)
        return true;

    // Under the lock that settings objects take for writing, so that nothing of what the client writes gets lost.
    QLockFile lock(path + QStringLiteral(".lock"));
    if (!lock.tryLock(kLockMs))
        return false;
    const std::optional<QByteArray> current = readAll(path);
    if (!current)
        return false;
    const QByteArray harmless = withoutHarmfulValues(*current);
    QSaveFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(harmless) == harmless.size() && file.commit();
}
