#include "variantcheck.h"

#include <QDataStream>
#include <QDateTime>
#include <QLine>
#include <QLocale>
#include <QRect>
#include <QTest>
#include <QUrl>
#include <QUuid>

namespace {

bool isHarmless(const QByteArray &serialised, VariantForm form = VariantForm::Qt40)
{
    int position = 0;
    const VariantBytes bytes{[&](uchar &byte) {
                                 if (position == serialised.size())
                                     return false;
                                 byte = static_cast<uchar>(serialised.at(position++));
                                 return true;
                             },
                             [&] { return qint64(serialised.size() - position); }};
    return isHarmlessVariant(bytes, form);
}

/// As settings objects write a list of \a value and of a list that says that it has \a count items, but has none.
QByteArray listOf(const QVariant &value, quint32 count)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setVersion(QDataStream::Qt_4_0);
    stream << quint32(QMetaType::QVariantList) << quint32(2) << value << quint32(QMetaType::QVariantList) << count;
    return bytes;
}

template<typename Value>
QVariant variant(Value value)
{
    return QVariant::fromValue(value);
}

} // namespace

/// Whether the bytes of a value are followed as Qt reads them.
class TestVariantCheck : public QObject
{
    Q_OBJECT

private slots:
    void findsTheEndOfEachType_data()
    {
        QTest::addColumn<QVariant>("value");
        const QVariant values[] = {
            QVariant(),
            true,
            variant('c'),
            variant(static_cast<uchar>(1)),
            QChar(0x20ac),
            variant(short(1)),
            variant(ushort(1)),
            1,
            1U,
            QDate(2024, 2, 29),
            QTime(1, 2),
            variant(1.5F),
            qint64(1),
            quint64(1),
            1.5,
            QSize(1, 2),
            QPoint(1, 2),
            variant(1L),
            variant(1UL),
            QRect(1, 2, 3, 4),
            QLine(1, 2, 3, 4),
            QSizeF(1, 2),
            QPointF(1, 2),
            QRectF(1, 2, 3, 4),
            QLineF(1, 2, 3, 4),
            QString(),
            QStringLiteral("Zo\u00eb"),
            QByteArray("\0x", 2),
            QUrl(QStringLiteral("http://a/")),
            QLocale(QLocale::German),
            QDateTime(QDate(2024, 2, 29), QTime(1, 2)),
            QDateTime(QDate(2024, 2, 29), QTime(1, 2), Qt::UTC),
            QDateTime(QDate(2024, 2, 29), QTime(1, 2), Qt::OffsetFromUTC, 3600),
            QStringList{QStringLiteral("a"), QString()},
            QVariantList{1, QStringLiteral("a")},
            QVariantMap{{QStringLiteral("12"), QStringLiteral("lobby")}},
            QVariantHash{{QStringLiteral("12"), 7}},
        };
        int number = 0;
        for (const QVariant &value : values)
            QTest::addRow("%d %s", ++number, value.isValid() ? value.typeName() : "nothing") << value;
    }
    void findsTheEndOfEachType()
    {
        QFETCH(const QVariant, value);
        QVERIFY(isHarmless(listOf(value, 0)));
        QVERIFY(!isHarmless(listOf(value, 0x7fffffff)));
    }

    void trustsNoTypeInsideWhoseEndItDoesNotKnow()
    {
        QVERIFY(!isHarmless(listOf(QVariant::fromValue(QUuid::createUuid()), 0)));
    }

    void trustsNamesAtTheTopOnly()
    {
        QByteArray bytes;
        QDataStream stream(&bytes, QIODevice::WriteOnly);
        stream.setVersion(QDataStream::Qt_4_0);
        stream << QVariant::fromValue(QUuid::createUuid());
        QVERIFY(isHarmless(bytes));
    }

    void refusesALongName()
    {
        QByteArray bytes;
        QDataStream stream(&bytes, QIODevice::WriteOnly);
        stream << quint32(127) << QByteArray(257, 'x');
        QVERIFY(!isHarmless(bytes));
    }

    void takesBytesThatEndEarlyAsHarmless()
    {
        QByteArray whole;
        QDataStream stream(&whole, QIODevice::WriteOnly);
        stream.setVersion(QDataStream::Qt_4_0);
        stream << QVariant(QVariantMap{{QStringLiteral("9"), QStringLiteral("lobby")},
                                       {QStringLiteral("12"), QDateTime::currentDateTime()}});
        QVERIFY(whole.size() > 40);
        for (int size = 0; size <= whole.size(); ++size)
            QVERIFY2(isHarmless(whole.left(size)), qPrintable(QString::number(size)));
    }

    void refusesAListThatIsLongerThanWhatFollows()
    {
        const QByteArray whole = listOf(QStringLiteral("text"), 0);
        QVERIFY(isHarmless(whole));
        QVERIFY(!isHarmless(whole.left(15)));
    }

    void judgesTimesByTheirKind_data()
    {
        QTest::addColumn<QDateTime>("time");
        QTest::addColumn<int>("kind"); ///< takes the place of the written one
        QTest::addColumn<bool>("isHarmless");
        const QDateTime time(QDate(2024, 2, 29), QTime(1, 2), Qt::UTC);
        QTest::newRow("local") << time << int(Qt::LocalTime) << true;
        QTest::newRow("UTC") << time << int(Qt::UTC) << true;
        QTest::newRow("offset") << time << int(Qt::OffsetFromUTC) << true;
        QTest::newRow("zone") << time << int(Qt::TimeZone) << false;
        QTest::newRow("none") << time << 0xff << false;
    }
    void judgesTimesByTheirKind()
    {
        QFETCH(const QDateTime, time);
        QFETCH(const int, kind);
        QByteArray bytes;
        QDataStream stream(&bytes, QIODevice::WriteOnly);
        stream.setVersion(QDataStream::Qt_5_6);
        stream << QVariant(time);
        bytes[bytes.size() - 1] = static_cast<char>(kind);
        QTEST(isHarmless(bytes, VariantForm::Qt56DateTime), "isHarmless");
    }
};

QTEST_GUILESS_MAIN(TestVariantCheck)
#include "tst_variantcheck.moc"
