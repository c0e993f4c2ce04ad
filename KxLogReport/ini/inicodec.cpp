#include "ini/inicodec.h"

#include <QSettings>

#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)

#include <QTextCodec>

#include <array>
#include <cstddef>

namespace {

// Whoever asks Qt for the number of UTF-8 shall not get this one.
constexpr int kOwnMib = -106;

const QTextCodec &utf8()
{
    static const QTextCodec *const codec = QTextCodec::codecForName("UTF-8");
    return *codec;
}

class IniCodec : public QTextCodec
{
public:
    QByteArray name() const override { return utf8().name(); }
    int mibEnum() const override { return kOwnMib; }

protected:
    QString convertToUnicode(const char *bytes, int length, ConverterState *state) const override
    {
        return utf8().toUnicode(bytes, length, state);
    }

    QByteArray convertFromUnicode(const QChar *text, int length, ConverterState *state) const override
    {
        if (length != 1)
            return utf8().fromUnicode(text, length, state);
        const QChar firstHalf = firstHalf_;
        firstHalf_ = text->isHighSurrogate() ? *text : QChar();
        if (text->unicode() < ascii_.size())
            return ascii_[text->unicode()];
        if (text->isHighSurrogate())
            return {};
        if (firstHalf.isNull() || !text->isLowSurrogate())
            return utf8().fromUnicode(text, 1, state);
        const QChar both[] = {firstHalf, *text};
        return utf8().fromUnicode(both, 2, state);
    }

private:
    // Ready-made: a list is written anew for each group that is given up, one call for each of its characters.
    static std::array<QByteArray, 128> asciiCharacters()
    {
        std::array<QByteArray, 128> characters;
        for (std::size_t i = 0; i < characters.size(); ++i)
            characters[i] = QByteArray(1, static_cast<char>(i));
        return characters;
    }

    const std::array<QByteArray, 128> ascii_ = asciiCharacters();
    mutable QChar firstHalf_; ///< of a character whose second half comes next
};

} // namespace

void useUtf8(QSettings &settings)
{
    // Qt remembers the codec of a name that was asked for: that of UTF-8 stays its own. It owns codecs, and deletes
    // them when the process ends.
    static auto *const codec = (utf8(), new IniCodec);
    settings.setIniCodec(codec);
}

#else

void useUtf8(QSettings &) {}

#endif
