#include "page/html.h"

#include <QtTest/QtTest>

class TestHtmlText : public QObject
{
    Q_OBJECT

private slots:
    void leavesNoMarkup_data();
    void leavesNoMarkup();
    void cutsBetweenCharacters_data();
    void cutsBetweenCharacters();
    void keepsEveryCharacterOfUtf8();
    void replacesWhatIsNotUtf8_data();
    void replacesWhatIsNotUtf8();
};

void TestHtmlText::leavesNoMarkup_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("html");
    QTest::newRow("plain") << QByteArray("nickname-ann.") << QByteArray("nickname-ann.");
    QTest::newRow("empty") << QByteArray() << QByteArray();
    QTest::newRow("script") << QByteArray("<script>document.title='owned'</script>")
                            << QByteArray("&lt;script&gt;document.title=&#39;owned&#39;&lt;/script&gt;");
    QTest::newRow("end of an attribute") << QByteArray("\" onclick='x' a=\"")
                                         << QByteArray("&quot; onclick=&#39;x&#39; a=&quot;");
    QTest::newRow("entity") << QByteArray("&lt;&amp;") << QByteArray("&amp;lt;&amp;amp;");
    QTest::newRow("not ASCII") << QByteArray("Zo\xc3\xab \xe4\xbc\x9a \xf0\x9f\x98\x80")
                               << QByteArray("Zo\xc3\xab \xe4\xbc\x9a \xf0\x9f\x98\x80");
    QTest::newRow("lines") << QByteArray("a\n\tb") << QByteArray("a\n\tb");
    QTest::newRow("lines of Windows") << QByteArray("a\r\n\r\nb\r\n") << QByteArray("a\n\nb\n");
    QTest::newRow("CR alone") << QByteArray("a\rb\r\r\n\r")
                              << QByteArray("a\xef\xbf\xbd"
                                            "b\xef\xbf\xbd\n\xef\xbf\xbd");
    QTest::newRow("controls") << QByteArray("\0\x01\r\x1b\x7f", 5) << QByteArray("\xef\xbf\xbd").repeated(5);
    QTest::newRow("C1 control") << QByteArray("a\xc2\x9b") + "c" << QByteArray("a\xef\xbf\xbd") + "c";
    QTest::newRow("behind the controls") << QByteArray("\xc2\xa0") << QByteArray("\xc2\xa0");
    QTest::newRow("not UTF-8") << QByteArray("\xff<\xc3<\xe4\xbc<")
                               << QByteArray("\xef\xbf\xbd&lt;\xef\xbf\xbd&lt;"
                                             "\xef\xbf\xbd\xef\xbf\xbd&lt;");
}

void TestHtmlText::leavesNoMarkup()
{
    QFETCH(QByteArray, text);
    QFETCH(QByteArray, html);
    QCOMPARE(QByteArray::fromStdString(htmlText(text.toStdString())), html);
}

void TestHtmlText::cutsBetweenCharacters_data()
{
    QTest::addColumn<int>("maxBytes");
    QTest::addColumn<QByteArray>("html");
    QTest::newRow("nothing fits") << 0 << QByteArray("\xe2\x80\xa6");
    QTest::newRow("within a character") << 2 << QByteArray("&lt;\xe2\x80\xa6");
    QTest::newRow("behind a character") << 3 << QByteArray("&lt;\xc3\xab\xe2\x80\xa6");
    QTest::newRow("all but one") << 5 << QByteArray("&lt;\xc3\xab\xe2\x80\xa6");
    QTest::newRow("all") << 6 << QByteArray("&lt;\xc3\xab\xe4\xbc\x9a");
}

void TestHtmlText::cutsBetweenCharacters()
{
    QFETCH(int, maxBytes);
    QFETCH(QByteArray, html);
    QCOMPARE(QByteArray::fromStdString(htmlText("<\xc3\xab\xe4\xbc\x9a", std::size_t(maxBytes))), html);
}

void TestHtmlText::keepsEveryCharacterOfUtf8()
{
    for (uint code = 0xa0; code <= 0x10ffff; ++code) {
        if (code >= 0xd800 && code <= 0xdfff)
            continue;
        const std::string bytes = QString::fromUcs4(&code, 1).toStdString();
        if (htmlText(bytes + "\x80") != bytes + "\xef\xbf\xbd")
            QFAIL(QByteArray::number(code, 16).constData());
    }
}

void TestHtmlText::replacesWhatIsNotUtf8_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("continuation") << QByteArray("\x80");
    QTest::newRow("overlong slash") << QByteArray("\xc0\xaf");
    QTest::newRow("overlong in three") << QByteArray("\xe0\x9f\xbf");
    QTest::newRow("overlong in four") << QByteArray("\xf0\x8f\xbf\xbf");
    QTest::newRow("surrogate") << QByteArray("\xed\xa0\x80");
    QTest::newRow("too large") << QByteArray("\xf4\x90\x80\x80");
    QTest::newRow("far too large") << QByteArray("\xf5\x80\x80\x80");
    QTest::newRow("cut off") << QByteArray("\xf0\x9f\x98");
    QTest::newRow("broken off") << QByteArray("\xe4\xbc");
}

void TestHtmlText::replacesWhatIsNotUtf8()
{
    QFETCH(QByteArray, bytes);
    QCOMPARE(QByteArray::fromStdString(htmlText(bytes.toStdString() + 'a')),
             QByteArray("\xef\xbf\xbd").repeated(bytes.size()) + 'a');
}

QTEST_GUILESS_MAIN(TestHtmlText)
#include "tst_htmltext.moc"
