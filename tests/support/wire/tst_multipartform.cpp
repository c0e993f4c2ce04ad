#include "support/process/waitfor.h"
#include "support/server/scriptedserver.h"
#include "support/wire/multipartform.h"

#include <QBuffer>
#include <QHttpMultiPart>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTest>

namespace {

QHttpPart qtTextPart(const char *disposition, const QByteArray &text)
{
    QHttpPart part;
    part.setHeader(QNetworkRequest::ContentDispositionHeader, QString::fromLatin1(disposition));
    part.setBody(text);
    return part;
}

QByteArray crLf(const QByteArray &parts)
{
    return QByteArray(parts).replace("\n", "\r\n");
}

MultipartForm parse(const QByteArray &body)
{
    return parseForm(QByteArray("multipart/form-data; boundary=b"), body);
}

} // namespace

class TestMultipartForm : public QObject
{
    Q_OBJECT

private slots:
    void buildsTheBytesThatQtSends()
    {
        const ScriptedServer server;
        QBuffer file;
        file.setData("bytes\r\n\0of the file", 20);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QString name = QString::fromUtf8("a \xc3\xbc.log");

        QHttpMultiPart multipart(QHttpMultiPart::FormDataType);
        multipart.setBoundary(formBoundary());
        multipart.append(qtTextPart("form-data; name=\"room\"", "nickname-\xc3\xa4."));
        multipart.append(qtTextPart("form-data; name=\"namespace\"", ""));
        QHttpPart filePart;
        filePart.setHeader(QNetworkRequest::ContentDispositionHeader,
                           QStringLiteral("form-data; name=\"file\"; filename=\"%1\"").arg(name));
        filePart.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("image/png"));
        filePart.setBodyDevice(&file);
        multipart.append(filePart);

        QNetworkRequest request(server.url());
        request.setHeader(QNetworkRequest::ContentTypeHeader, QString::fromLatin1(formType()));
        QNetworkAccessManager manager;
        const QScopedPointer<QNetworkReply> reply(manager.post(request, &multipart));
        QVERIFY(waitFor([&] { return reply->isFinished(); }));

        QCOMPARE(server.requests().size(), 1);
        const RecordedRequest received = server.requests().first();
        QCOMPARE(received.header("content-type"), formType());
        QCOMPARE(received.body, logForm(QString::fromUtf8("nickname-\xc3\xa4."), QString(), name, file.data()));

        const MultipartForm parsed = parseForm(received);
        QVERIFY2(parsed.isWellFormed(), qPrintable(parsed.problem));
        QCOMPARE(parsed.boundary, formBoundary());
        QCOMPARE(parsed.names(), (QList<QByteArray>{"room", "namespace", "file"}));
        QCOMPARE(parsed.body("file"), file.data());
        QCOMPARE(parsed.parts.at(2).fileName, name);
        QVERIFY(!parsed.parts.at(1).hasFileName);
    }

    void buildsACrashForm()
    {
        const MultipartForm parsed =
            parseForm(formType(), crashForm("{\"sdk\":5}", "{}", QStringLiteral("c.dmp"), "crash"));
        QVERIFY2(parsed.isWellFormed(), qPrintable(parsed.problem));
        QCOMPARE(parsed.names(), (QList<QByteArray>{"base", "info", "file"}));
        QCOMPARE(parsed.body("base"), QByteArray("{\"sdk\":5}"));
        QCOMPARE(parsed.parts.at(2).contentType, QByteArray("image/png"));
        QCOMPARE(parsed.parts.at(2).headerLines.first(),
                 QByteArray("Content-Disposition: form-data; name=\"file\"; filename=\"c.dmp\""));
    }

    void keepsBodiesThatLookLikeBoundaries()
    {
        const QByteArray body = "-b\r\n\r\n--\r\n--c\r\n-b";
        const MultipartForm parsed =
            parse("--b\r\nContent-Disposition: form-data; name=\"x\"\r\n\r\n" + body + "\r\n--b--\r\n");
        QVERIFY2(parsed.isWellFormed(), qPrintable(parsed.problem));
        QCOMPARE(parsed.body("x"), body);
    }

    void reportsMalformedForms_data()
    {
        QTest::addColumn<QByteArray>("body");
        const QByteArray disposition = "Content-Disposition: form-data; name=\"x\"";
        QTest::newRow("epilogue") << crLf("--b\n" + disposition + "\n\ny\n--b--\nhi");
        QTest::newRow("no parts") << crLf("--b--\n");
        QTest::newRow("end without its line end") << crLf("--b\n" + disposition + "\n\ny\n--b--");
        QTest::newRow("no end") << crLf("--b\n" + disposition + "\n\ny\n");
        QTest::newRow("another boundary first") << crLf("--c\n" + disposition + "\n\ny\n--b--\n");
        QTest::newRow("no empty line") << crLf("--b\n" + disposition + "\ny\n--b--\n");
        QTest::newRow("no disposition") << crLf("--b\nContent-Type: image/png\n\ny\n--b--\n");
        QTest::newRow("not form-data") << crLf("--b\nContent-Disposition: form-file; name=\"x\"\n\ny\n--b--\n");
        QTest::newRow("open name") << crLf("--b\nContent-Disposition: form-data; name=\"x\n\ny\n--b--\n");
        QTest::newRow("quote in the file name") << crLf("--b\n" + disposition + "; filename=\"a\"b\"\n\ny\n--b--\n");
        QTest::newRow("something else") << crLf("--b\n" + disposition + "; fileName=\"a\"\n\ny\n--b--\n");
        QTest::newRow("header without a blank") << crLf("--b\n" + disposition + "\nA:b\n\ny\n--b--\n");
        QTest::newRow("line feed in a header")
            << crLf("--b\n" + disposition + "\nA: b\n\ny\n--b--\n").replace(": b", ": b\nc");
        QTest::newRow("boundary and more in the body") << crLf("--b\n" + disposition + "\n\ny\n--bc\ny\n--b--\n");
    }
    void reportsMalformedForms()
    {
        QFETCH(QByteArray, body);
        QVERIFY(!parse(body).isWellFormed());
    }

    void reportsUnusableContentTypes_data()
    {
        QTest::addColumn<QByteArray>("contentType");
        QTest::newRow("no form") << QByteArray("multipart/form-date; boundary=b");
        QTest::newRow("empty boundary") << QByteArray("multipart/form-data; boundary=");
        QTest::newRow("quoted boundary") << QByteArray("multipart/form-data; boundary=\"b\"");
    }
    void reportsUnusableContentTypes()
    {
        QFETCH(QByteArray, contentType);
        const QByteArray delimiter = "--" + contentType.mid(contentType.indexOf('=') + 1);
        const QByteArray part = crLf("\nContent-Disposition: form-data; name=\"x\"\n\ny\n");
        QVERIFY(!parseForm(contentType, delimiter + part + delimiter + "--\r\n").isWellFormed());
    }

    void reportsIncompleteBodies()
    {
        RecordedRequest request;
        request.parseHead("POST / HTTP/1.1\r\nContent-Type: multipart/form-data; boundary=b\r\n\r\n");
        request.body = crLf("--b\nContent-Disposition: form-data; name=\"x\"\n\ny\n--b--\n");
        QVERIFY(!parseForm(request).isWellFormed());
        request.bodyComplete = true;
        QVERIFY2(parseForm(request).isWellFormed(), qPrintable(parseForm(request).problem));
    }

    void givesNoBodyForAmbiguousNames()
    {
        const QByteArray part = "--b\r\nContent-Disposition: form-data; name=\"x\"\r\n\r\ny\r\n";
        QCOMPARE(parse(part + "--b--\r\n").body("x"), QByteArray("y"));
        QVERIFY(parse(part + part + "--b--\r\n").body("x").isNull());
        QVERIFY(parse(part + "--b--\r\n").body("z").isNull());
    }
};

QTEST_GUILESS_MAIN(TestMultipartForm)
#include "tst_multipartform.moc"
