#include "variantcheck.h"

#include <QByteArray>
#include <QMetaType>
#include <QVariant>

namespace {

// A map of rooms has one level; the stack has room for thousands.
constexpr int kMaxDepth = 32;

constexpr quint32 kNullLength = 0xffffffff;

// Types of widgets and graphics, as Qt 4 counts them. This program does not know them, and reads a text instead.
constexpr quint32 kFirstGuiType = 64;
constexpr quint32 kLastGuiType = 86;
// The class follows by its name.
constexpr quint32 kNamedType = 127;
constexpr int kMaxNameBytes = 256;

/// Bytes that a value of a plain type takes; 0 for all others.
int plainSize(quint32 type)
{
    switch (type) {
    case QMetaType::Bool:
    case 131: // char, as Qt 4 counts it, like the others without a name
    case 134: // unsigned char
        return 1;
    case QMetaType::QChar:
    case 130: // short
    case 133: // unsigned short
        return 2;
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::QDate:
    case QMetaType::QTime:
    case 135: // float
        return 4;
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Double:
    case QMetaType::QSize:
    case QMetaType::QPoint:
    case 129: // long
    case 132: // unsigned long
        return 8;
    case QMetaType::QRect:
    case QMetaType::QLine:
    case QMetaType::QSizeF:
    case QMetaType::QPointF:
        return 16;
    case QMetaType::QRectF:
    case QMetaType::QLineF:
        return 32;
    default:
        return 0;
    }
}

/// Follows the bytes as Qt does. Where they end, Qt reads nothing further, which is harmless.
class Walk
{
public:
    explicit Walk(const VariantBytes &source) : bytes(source) {}

    quint32 number()
    {
        quint32 value = 0;
        for (int i = 0; i < 4; ++i)
            value = value << 8U | byte();
        return over ? 0 : value;
    }

    void skip(quint32 count)
    {
        over = over || count > bytes.left();
        for (quint32 i = 0; i < count && !over; ++i)
            byte();
    }

    /// A text or a byte array.
    void skipText()
    {
        const quint32 length = number();
        if (length != kNullLength)
            skip(length);
    }

    bool isHarmlessValue(int depth)
    {
        const quint32 type = number();
        if (over)
            return true;
        const bool isTop = depth == 0;
        if (isTop && type >= kFirstGuiType && type <= kLastGuiType)
            return true;
        if (isTop && type == kNamedType)
            return isHarmlessName();
        if (const int size = plainSize(type)) {
            skip(static_cast<quint32>(size));
            return true;
        }
        switch (type) {
        case QMetaType::UnknownType:
        case QMetaType::QString:
        case QMetaType::QByteArray:
        case QMetaType::QUrl:
        case QMetaType::QLocale:
            skipText();
            return true;
        case QMetaType::QDateTime:
            return isHarmlessQt40DateTime();
        case QMetaType::QStringList:
            return isHarmlessList([this] {
                skipText();
                return true;
            });
        case QMetaType::QVariantList:
            return depth < kMaxDepth && isHarmlessList([this, depth] { return isHarmlessValue(depth + 1); });
        case QMetaType::QVariantMap:
        case QMetaType::QVariantHash:
            return depth < kMaxDepth && areHarmless(number(), [this, depth] {
                       skipText();
                       return isHarmlessValue(depth + 1);
                   });
        default:
            return false;
        }
    }

    bool isHarmlessQt56DateTime()
    {
        constexpr quint32 kNullFlagBytes = 1;
        const quint32 type = number();
        skip(kNullFlagBytes);
        return over || (type == QMetaType::QDateTime && isHarmlessDateTime());
    }

private:
    uchar byte()
    {
        uchar value = 0;
        over = over || !bytes.next(value);
        return value;
    }

    template<typename Item>
    bool isHarmlessList(Item item)
    {
        const quint32 count = number();
        // No item is shorter than its length or type.
        return count <= bytes.left() / 4 && areHarmless(count, item);
    }

    template<typename Item>
    bool areHarmless(quint32 count, Item item)
    {
        for (quint32 i = 0; i < count && !over; ++i) {
            if (!item())
                return false;
        }
        return true;
    }

    // Without zones: Qt 4 counted local time (unknown, standard, daylight-saving), UTC, offset from UTC.
    bool isHarmlessQt40DateTime()
    {
        constexpr uchar kUnknownLocal = 0xff;
        constexpr uchar kLast = 3;
        skip(sizeof(quint32) + sizeof(quint32));
        const uchar kind = byte();
        return over || kind == kUnknownLocal || kind <= kLast;
    }

    // Settings objects write everything again when they forget a group, and Qt cannot write the time zone that it makes
    // of a damaged one, nor what it takes for a time with a zone.
    bool isHarmlessDateTime()
    {
        skip(sizeof(qint64) + sizeof(quint32));
        const uchar kind = byte();
        return over || kind == Qt::LocalTime || kind == Qt::UTC || kind == Qt::OffsetFromUTC;
    }

    // A name that Qt knows may stand for a list; of any other it reads nothing more.
    bool isHarmlessName()
    {
        const quint32 length = number();
        if (length > kMaxNameBytes)
            return false;
        QByteArray name;
        for (quint32 i = 0; i < length && !over; ++i)
            name += static_cast<char>(byte());
        const int type = QMetaType::type(name.constData());
        return over || type == QMetaType::UnknownType || type == QMetaType::QUuid;
    }

    const VariantBytes &bytes;
    bool over = false;
};

} // namespace

bool isHarmlessVariant(const VariantBytes &bytes, VariantForm form)
{
    Walk walk(bytes);
    if (form == VariantForm::Qt40)
        return walk.isHarmlessValue(0);
    return walk.isHarmlessQt56DateTime();
}
