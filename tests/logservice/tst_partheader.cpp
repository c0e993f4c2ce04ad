#include "http/partheader.h"
#include "http/refusal.h"
#include "support/wire/multipartform.h"

#include <QtTest/QtTest>

class TestPartHeader : public QObject
{
    Q_OBJECT

private slots:
    void readsNameAndFileName_data();
    void readsNameAndFileName();
    void refusesMalformedLines_data();
    void refusesMalformedLines();
    void findsTheBoundary_data();
    void findsTheBoundary();
    void refusesWithoutUsableBoundary_data();
    void refusesWithoutUsableBoundary();
};

void TestPartHeader::readsNameAndFileName_data()
{
    QTest::addColumn<QByteArray>("lines");
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<bool>("isFile");
    QTest::addColumn<QByteArray>("fileName");

    const QByteArray file("Content-Disposition: form-data; name=\"file\"; filename=");
    QTest::newRow("text") << QByteArray("Content-Disposition: form-data; name=\"room\"") << QByteArray("room") << false
                          << QByteArray();
    QTest::newRow("file") << file + "\"a.log\"" << QByteArray("file") << true << QByteArray("a.log");
    QTest::newRow("empty file name") << file + "\"\"" << QByteArray("file") << true << QByteArray();
    QTest::newRow("quotes") << file + "\"a\"b\"" << QByteArray("file") << true << QByteArray("a\"b");
    QTest::newRow("ends in a quote") << file + "\"a\"\"" << QByteArray("file") << true << QByteArray("a\"");
    QTest::newRow("backslash") << file + "\"a\\b\"" << QByteArray("file") << true << QByteArray("a\\b");
    QTest::newRow("path") << file + "\"../../x\"" << QByteArray("file") << true << QByteArray("../../x");
    QTest::newRow("non-ASCII") << file + "\"\xe6\x97\xa5.log\"" << QByteArray("file") << true
                               << QByteArray("\xe6\x97\xa5.log");
    QTest::newRow("line feed") << file + "\"a\nb\"" << QByteArray("file") << true << QByteArray("a\nb");
    QTest::newRow("zero byte") << file + "\"a" + QByteArray(1, '\0') + "b\"" << QByteArray("file") << true
                               << "a" + QByteArray(1, '\0') + "b";
    QTest::newRow("other headers around") << "Content-Type: image/png\r\n" + file + "\"a\"\r\nX-Other: b"
                                          << QByteArray("file") << true << QByteArray("a");
    QTest::newRow("other case") << QByteArray("CONTENT-disposition:Form-Data;Name=\"room\"") << QByteArray("room")
                                << false << QByteArray();
}

void TestPartHeader::readsNameAndFileName()
{
    QFETCH(QByteArray, lines);
    const PartHeader header = parsePartHeader(lines.toStdString());
    QTEST(QByteArray::fromStdString(header.name), "name");
    QTEST(header.fileName.has_value(), "isFile");
    QTEST(QByteArray::fromStdString(header.fileName.value_or(std::string())), "fileName");
}

void TestPartHeader::refusesMalformedLines_data()
{
    QTest::addColumn<QByteArray>("lines");
    const QByteArray good("Content-Disposition: form-data; name=\"a\"");
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("no disposition") << QByteArray("Content-Type: image/png");
    QTest::newRow("two dispositions") << good + "\r\n" + good;
    QTest::newRow("no colon") << good + "\r\nhello";
    QTest::newRow("no header name") << good + "\r\n: hello";
    QTest::newRow("empty line") << good + "\r\n\r\n" + good;
    QTest::newRow("other disposition") << QByteArray("Content-Disposition: attachment; name=\"a\"");
    QTest::newRow("no name") << QByteArray("Content-Disposition: form-data");
    QTest::newRow("file name only") << QByteArray("Content-Disposition: form-data; filename=\"a\"");
    QTest::newRow("name without quotes") << QByteArray("Content-Disposition: form-data; name=a");
    QTest::newRow("name without its end") << QByteArray("Content-Disposition: form-data; name=\"a");
    QTest::newRow("text behind the name") << good + "b";
    QTest::newRow("unknown parameter") << good + "; size=\"1\"";
    QTest::newRow("file name without quotes") << good + "; filename=x";
    QTest::newRow("file name without its end") << good + "; filename=\"x";
    QTest::newRow("file name of half a quote pair") << good + "; filename=\"";
    QTest::newRow("parameter behind the file name") << good + "; filename=\"x\"; size=1";
}

void TestPartHeader::refusesMalformedLines()
{
    QFETCH(QByteArray, lines);
    QVERIFY_EXCEPTION_THROWN(parsePartHeader(lines.toStdString()), Refusal);
}

void TestPartHeader::findsTheBoundary_data()
{
    QTest::addColumn<QByteArray>("contentType");
    QTest::addColumn<QByteArray>("boundary");
    const QByteArray boundary("--------GI3Ef1ei4KM7KM7ae0ei4ei4ei4ae0");
    QTest::newRow("plain") << "multipart/form-data; boundary=" + boundary << boundary;
    QTest::newRow("quoted") << "multipart/form-data; boundary=\"" + boundary + "\"" << boundary;
    QTest::newRow("no blank") << "multipart/form-data;boundary=" + boundary << boundary;
    QTest::newRow("other case") << "Multipart/Form-Data; Boundary=" + boundary << boundary;
    QTest::newRow("longest") << "multipart/form-data; boundary=" + QByteArray(70, 'x') << QByteArray(70, 'x');
}

void TestPartHeader::findsTheBoundary()
{
    QFETCH(QByteArray, contentType);
    QTEST(QByteArray::fromStdString(formBoundary(contentType.toStdString())), "boundary");
}

void TestPartHeader::refusesWithoutUsableBoundary_data()
{
    QTest::addColumn<QByteArray>("contentType");
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("other type") << QByteArray("application/json");
    QTest::newRow("other multipart") << QByteArray("multipart/mixed; boundary=x");
    QTest::newRow("longer type") << QByteArray("multipart/form-data2; boundary=x");
    QTest::newRow("no parameter") << QByteArray("multipart/form-data");
    QTest::newRow("other parameter") << QByteArray("multipart/form-data; charset=utf-8");
    QTest::newRow("empty") << QByteArray("multipart/form-data; boundary=");
    QTest::newRow("empty in quotes") << QByteArray("multipart/form-data; boundary=\"\"");
    QTest::newRow("one quote") << QByteArray("multipart/form-data; boundary=\"x");
    QTest::newRow("too long") << "multipart/form-data; boundary=" + QByteArray(71, 'x');
    QTest::newRow("ends in a blank") << QByteArray("multipart/form-data; boundary=\"x \"");
}

void TestPartHeader::refusesWithoutUsableBoundary()
{
    QFETCH(QByteArray, contentType);
    QVERIFY_EXCEPTION_THROWN(formBoundary(contentType.toStdString()), Refusal);
}

QTEST_GUILESS_MAIN(TestPartHeader)
#include "tst_partheader.moc"
