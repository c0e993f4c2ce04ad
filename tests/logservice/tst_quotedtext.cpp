#include "text/quotedtext.h"

#include <QtTest/QtTest>

class TestQuotedText : public QObject
{
    Q_OBJECT

private slots:
    void staysOnOneLine_data();
    void staysOnOneLine();
};

void TestQuotedText::staysOnOneLine_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("line");
    QTest::newRow("empty") << QByteArray("") << QByteArray(R"("")");
    QTest::newRow("plain") << QByteArray("a.log") << QByteArray(R"("a.log")");
    QTest::newRow("quote and backslash") << QByteArray(R"(a"b\c)") << QByteArray(R"("a\"b\\c")");
    QTest::newRow("line ends and tab") << QByteArray("a\r\n\tb") << QByteArray(R"("a\r\n\tb")");
    QTest::newRow("control characters") << QByteArray("\x1b[2J\x7f") << QByteArray(R"("\x1b[2J\x7f")");
    QTest::newRow("zero byte") << QByteArray("a\0b", 3) << QByteArray(R"("a\x00b")");
    QTest::newRow("control characters behind ASCII") << QByteArray("\xc2\x9b"
                                                                   "2J")
                                                     << QByteArray(R"("\xc2\x9b2J")");
    QTest::newRow("non-ASCII") << QByteArray("\xe6\x97\xa5\xc2\xa0") << QByteArray("\"\xe6\x97\xa5\xc2\xa0\"");
    QTest::newRow("as long as allowed") << QByteArray("0123456789") << QByteArray(R"("0123456789")");
    QTest::newRow("too long") << QByteArray("0123456789x") << QByteArray(R"("0123456789...")");
    QTest::newRow("cut in front of a character")
        << QByteArray("01234567\xe6\x97\xa5") << QByteArray(R"("01234567...")");
}

void TestQuotedText::staysOnOneLine()
{
    QFETCH(QByteArray, text);
    QTEST(QByteArray::fromStdString(quotedText(text.toStdString(), 10)), "line");
}

QTEST_GUILESS_MAIN(TestQuotedText)
#include "tst_quotedtext.moc"
