#include "kxlog/kxlog.h"
#include "logsession.h"

#include <QTest>

/// Texts of records that are not plain: long ones, other encodings, zero bytes.
class TestRecordTexts : public QObject
{
    Q_OBJECT

private slots:
    void readsFunctionNamesAsUtf8();
    void keepsZeroBytes();
    void keepsRecordsOfAnyLength_data();
    void keepsRecordsOfAnyLength();
    void replacesWhatIsNoText();
    void warnsOfNothingBesides();
};

namespace {

/// The record of \a text behind its time, in a session of its own.
QByteArray record(const QString &text, const char *file = "f", const char *function = "g")
{
    const LogSession session;
    outputMessage(QtDebugMsg, QMessageLogContext(file, 1, function, "default"), text);
    return session.bytes().mid(kStampSize);
}

} // namespace

void TestRecordTexts::readsFunctionNamesAsUtf8()
{
    QCOMPARE(record(QStringLiteral("text"), "f", "void größe(大小)"),
             QByteArrayLiteral("[Debug][f][1][void größe(大小)]text\r\n\n"));
    QCOMPARE(record(QStringLiteral("kx_log"), "f", "void größe(大小)"),
             QByteArrayLiteral("[Debug][f][1][void größe(大小)]kx_client   kx_error  \r\n\n"));
}

void TestRecordTexts::keepsZeroBytes()
{
    QCOMPARE(record(QString::fromLatin1("a\0b", 3)), QByteArray("[Debug][f][1][g]a\0b\r\n\n", 22));
    QCOMPARE(record(QString::fromUtf8("ä\0b", 4)), QByteArray("[Debug][f][1][g]ä\0b\r\n\n", 23));
}

void TestRecordTexts::keepsRecordsOfAnyLength_data()
{
    QTest::addColumn<int>("length");
    // Around 2 KiB with what stands before the text, then far beyond what is written in one piece elsewhere.
    for (int length = 2000; length < 2020; ++length)
        QTest::newRow(qPrintable(QString::number(length))) << length;
    QTest::newRow("a million") << 1000000;
}

void TestRecordTexts::keepsRecordsOfAnyLength()
{
    QFETCH(int, length);
    QCOMPARE(record(QString(length, QLatin1Char('x'))), "[Debug][f][1][g]" + QByteArray(length, 'x') + "\r\n\n");
    const QByteArray longName(length, 'y');
    QCOMPARE(record(QStringLiteral("text"), longName, "g"), "[Debug][" + longName + "][1][g]text\r\n\n");
    QCOMPARE(record(QStringLiteral("text"), "f", longName), "[Debug][f][1][" + longName + "]text\r\n\n");
}

void TestRecordTexts::replacesWhatIsNoText()
{
    QCOMPARE(record(QString(QChar(0xD800)) + QStringLiteral("a") + QChar(0xDC00)),
             QByteArrayLiteral("[Debug][f][1][g]?a?\r\n\n"));
}

void TestRecordTexts::warnsOfNothingBesides()
{
    const MessageCatcher catcher;
    KxLog log;
    QString text = QStringLiteral("a @@5@@ b");
    QCOMPARE(log.getStrInt(text, QStringLiteral("@@"), QStringLiteral("no place")), 5);
    QCOMPARE(text, QStringLiteral("a no place b"));
    text = QStringLiteral("@@5@@");
    QCOMPARE(log.getStrInt(text, QStringLiteral("@@"), QStringLiteral("%1 of %1, not %2")), 5);
    QCOMPARE(text, QStringLiteral("5 of 5, not %2"));
    QCOMPARE(catcher.texts(), QStringList());
}

QTEST_GUILESS_MAIN(TestRecordTexts)
#include "tst_recordtexts.moc"
