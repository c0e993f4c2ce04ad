#include "capture.h"
#include "intake/endpoints.h"
#include "shownrequest.h"
#include "support/files/fileio.h"
#include "support/wire/multipartform.h"

#include <QTest>

namespace {

const QByteArray kHead = QByteArrayLiteral("POST /log HTTP/1.1\r\nHost: 127.0.0.1:18700\r\nContent-Length: 2\r\n");

RecordedRequest recorded(const QByteArray &head, const QByteArray &body)
{
    RecordedRequest request;
    request.rawHead = head;
    request.parseHead(head);
    request.body = body;
    request.bodyComplete = true;
    return request;
}

QByteArray textOf(const QList<Example> &examples, const QString &name)
{
    for (const Example &example : examples) {
        if (example.first == name)
            return example.second;
    }
    return {};
}

QStringList namesOf(const QList<Example> &examples)
{
    QStringList names;
    for (const Example &example : examples)
        names += example.first;
    return names;
}

/// The bytes of a request that is shown as \a text.
RecordedRequest requestOf(QByteArray text)
{
    text.replace("\n", "\r\n").replace("\xe2\x90\x8a\r\n", "\n");
    const int headSize = text.indexOf("\r\n\r\n") + 4;
    return recorded(text.left(headSize), text.mid(headSize));
}

} // namespace

/// Whether docs/protocol.md shows what this build really sends.
class TestProtocolExamples : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        page_ = readFile(QStringLiteral(KX_PROTOCOL_PAGE));
        captures_ = captureRequests();
        QCOMPARE(captures_.problems, QStringList());
    }

    void marksLineFeedsOfTheirOwn();
    void showsNothingThatIsNotWhole();
    void replacesWhatIsTheRunsOwn();
    void putsExamplesIntoTheirPlaces();
    void areOneForEachRequest();
    void areWhatIsSent_data();
    void areWhatIsSent();
    void areWhatTheLocalLogServiceTakes();

private:
    QByteArray page_;
    Captures captures_;
};

void TestProtocolExamples::marksLineFeedsOfTheirOwn()
{
    const QByteArray form = kHead + "Content-Type: multipart/form-data\r\n\r\n";
    QCOMPARE(shownRequest(recorded(form, "ab"), "host", "a\nb\r\n\r\n"),
             QByteArray("POST /log HTTP/1.1\nHost: host\nContent-Length: 7\nContent-Type: multipart/form-data\n\n"
                        "a\xe2\x90\x8a\nb\n\n"));
    const QByteArray json = kHead + "Content-Type: application/json\r\n\r\n";
    QCOMPARE(shownRequest(recorded(json, "ab"), "host", "{\n}\n"),
             QByteArray("POST /log HTTP/1.1\nHost: host\nContent-Length: 4\nContent-Type: application/json\n\n{\n}\n"));
}

void TestProtocolExamples::showsNothingThatIsNotWhole()
{
    RecordedRequest request = recorded(kHead + "\r\n", "ab");
    QVERIFY(!shownRequest(request, "host", "ab").isNull());
    QVERIFY(shownRequest(request, "host", "\xff").isNull());
    QVERIFY(shownRequest(request, "host", "a\rb").isNull());
    request.bodyComplete = false;
    QVERIFY(shownRequest(request, "host", "ab").isNull());
    QVERIFY(shownRequest(RecordedRequest(), "host", "ab").isNull());
}

void TestProtocolExamples::replacesWhatIsTheRunsOwn()
{
    const QByteArray log = "\"upload_2026_11_21_13_49_32.log\" [2026-11-21 13:49:32][Debug][KxLogReport/main.cpp][68]"
                           "[int main(int, char **)]1 \"/tmp/kx-a/app\" [12]";
    QCOMPARE(withoutRunsOwn(log, QStringLiteral("/tmp/kx-a/app"), QStringLiteral("/app")),
             QByteArray("\"upload_2024_05_01_09_30_00.log\" [2024-05-01 09:30:00][Debug][KxLogReport/main.cpp][1]"
                        "[int main(int, char**)]1 \"/app\" [12]"));
    QCOMPARE(withoutSeconds("{\n    \"ElapsedTime\": 17,\n    \"Level\": 4\n}\n"),
             QByteArray("{\n    \"ElapsedTime\": 0,\n    \"Level\": 4\n}\n"));
}

void TestProtocolExamples::putsExamplesIntoTheirPlaces()
{
    const QByteArray page = "text\n<!-- example a -->\n```http\nold\n```\n<!-- end of example -->\n"
                            "<!-- example b -->\n```http\n```\n<!-- end of example -->\nrest\n";
    QCOMPARE(examplesOf(page), (QList<Example>{{QStringLiteral("a"), "old\n"}, {QStringLiteral("b"), ""}}));
    const QByteArray changed =
        withExamples(page, {{QStringLiteral("b"), "new\n"}, {QStringLiteral("nowhere"), "other\n"}});
    QCOMPARE(changed, QByteArray("text\n<!-- example a -->\n```http\nold\n```\n<!-- end of example -->\n"
                                 "<!-- example b -->\n```http\nnew\n```\n<!-- end of example -->\nrest\n"));
}

void TestProtocolExamples::areOneForEachRequest()
{
    QStringList sent = namesOf(captures_.examples);
    if (!canCaptureCrash())
        sent += QStringLiteral("crash");
    sent.sort();
    QStringList shown = namesOf(examplesOf(page_));
    shown.sort();
    QCOMPARE(shown, sent);
}

void TestProtocolExamples::areWhatIsSent_data()
{
    QTest::addColumn<QByteArray>("shown");
    for (const Example &example : examplesOf(page_))
        QTest::newRow(qPrintable(example.first)) << example.second;
}

void TestProtocolExamples::areWhatIsSent()
{
    QFETCH(QByteArray, shown);
    const QString name = QString::fromUtf8(QTest::currentDataTag());
    if (name == QLatin1String("crash") && !canCaptureCrash())
        QSKIP("an open can only be made to fail on Linux");
    const QStringList sentLines = QString::fromUtf8(textOf(captures_.examples, name)).split(QLatin1Char('\n'));
    const QStringList shownLines = QString::fromUtf8(shown).split(QLatin1Char('\n'));
    for (int i = 0; i < qMax(sentLines.size(), shownLines.size()); ++i)
        QVERIFY2(shownLines.value(i) == sentLines.value(i),
                 qPrintable(QStringLiteral("line %1 is \"%2\", sent is \"%3\"; see scripts/capture.sh")
                                .arg(QString::number(i + 1), shownLines.value(i), sentLines.value(i))));
    QCOMPARE(shown, textOf(captures_.examples, name));
}

void TestProtocolExamples::areWhatTheLocalLogServiceTakes()
{
    QStringList served;
    QStringList shown;
    for (const Endpoint &endpoint : endpoints()) {
        QStringList parts;
        for (const Part &part : endpoint.parts)
            parts += QString::fromStdString(part.name);
        served += QString::fromStdString(endpoint.path) + QLatin1Char(' ') + parts.join(QLatin1Char(','));
    }
    for (const Example &example : examplesOf(page_)) {
        const RecordedRequest request = requestOf(example.second);
        QStringList parts;
        if (request.header("Content-Type") != "application/json") {
            const MultipartForm form = parseForm(request);
            QVERIFY2(form.isWellFormed(), qPrintable(form.problem));
            for (const QByteArray &name : form.names())
                parts += QString::fromUtf8(name);
        }
        shown += QString::fromUtf8(request.path) + QLatin1Char(' ') + parts.join(QLatin1Char(','));
    }
    shown.removeDuplicates();
    shown.sort();
    served.sort();
    QCOMPARE(shown, served);
}

QTEST_GUILESS_MAIN(TestProtocolExamples)
#include "tst_protocolexamples.moc"
