#include "page/attachment.h"

#include <QtTest/QtTest>

class TestAttachment : public QObject
{
    Q_OBJECT

private slots:
    void makesSafeNames_data();
    void makesSafeNames();
    void keepsTheDirection();
    void survivesAnyBytes();
};

void TestAttachment::makesSafeNames_data()
{
    QTest::addColumn<QByteArray>("sent");
    QTest::addColumn<QByteArray>("ascii");
    QTest::addColumn<QByteArray>("encoded");
    const auto add = [](const char *row, const QByteArray &sent, const QByteArray &ascii, const QByteArray &encoded) {
        QTest::newRow(row) << sent << ascii << encoded;
    };
    add("plain", "client_2.log", "client_2.log", "client_2.log");
    add("not ASCII",
        "Gespr\xc3\xa4"
        "ch 7.log",
        "Gespr__ch 7.log", "Gespr%C3%A4ch%207.log");
    add("path", "/etc/passwd", "passwd", "passwd");
    add("way up", "../../x.log", "x.log", "x.log");
    add("Windows path", "C:\\logs\\x.log", "x.log", "x.log");
    add("quotes and semicolons", "a\";b='c'.log", "a_;b='c'.log", "a_%3Bb%3D%27c%27.log");
    add("header lines", "a\r\nSet-Cookie: b", "a__Set-Cookie_ b", "a__Set-Cookie_%20b");
    add("NUL", QByteArray("a\0b", 3), "a_b", "a_b");
    add("percent", "100%41.log", "100_41.log", "100%2541.log");
    add("hidden", ".bashrc", "_bashrc", "_bashrc");
    add("up", "..", "_.", "_.");
    add("empty", "", "upload", "upload");
    add("slash at the end", "a/", "upload", "upload");
    add("not UTF-8", "a\xff.log", "a_.log", "a_.log");
    add("C1 control", "a\xc2\x85.log", "a_.log", "a_.log");
    add("points", "...x", "_..x", "_..x");
    add("false ending", "log\xe2\x80\xaetxt.exe", "log_txt.exe", "log_txt.exe");
    add("long", QByteArray(500, 'x'), QByteArray(200, 'x'), QByteArray(200, 'x'));
    add("cut between characters", QByteArray(199, 'x') + "\xc3\xa4", QByteArray(199, 'x'), QByteArray(199, 'x'));
}

void TestAttachment::makesSafeNames()
{
    QFETCH(QByteArray, sent);
    QFETCH(QByteArray, ascii);
    QFETCH(QByteArray, encoded);
    QCOMPARE(QByteArray::fromStdString(attachmentDisposition(sent.toStdString())),
             "attachment; filename=\"" + ascii + "\"; filename*=UTF-8''" + encoded);
}

/// What a person reads as "log.exe.txt" has to be no "logtxt.exe".
void TestAttachment::keepsTheDirection()
{
    QVector<uint> replaced;
    for (uint code = 0x2000; code < 0x2080; ++code) {
        const auto sent = QString::fromUcs4(&code, 1).toUtf8();
        const auto value = QByteArray::fromStdString(attachmentDisposition(sent.toStdString()));
        if (value.endsWith("''_"))
            replaced << code;
        else
            QVERIFY2(value.endsWith("''" + sent.toPercentEncoding()), value.constData());
    }
    QCOMPARE(replaced,
             (QVector<uint>{0x200e, 0x200f, 0x202a, 0x202b, 0x202c, 0x202d, 0x202e, 0x2066, 0x2067, 0x2068, 0x2069}));
}

void TestAttachment::survivesAnyBytes()
{
    for (int first = 0; first < 256; ++first) {
        for (int second = 0; second < 256; ++second) {
            const auto value = attachmentDisposition(std::string{char(first), char(second)});
            for (const char c : value)
                QVERIFY(c >= 0x20 && c < 0x7f);
            QCOMPARE(int(std::count(value.begin(), value.end(), '"')), 2);
        }
    }
}

QTEST_GUILESS_MAIN(TestAttachment)
#include "tst_attachment.moc"
