#include "http/multipartreader.h"
#include "http/refusal.h"

#include <QtTest/QtTest>

namespace {

/// Writes down what the reader finds: each part as <name[=file name]>bytes</>.
class Transcript : public PartSink
{
public:
    void beginPart(const PartHeader &header) override
    {
        text += "<" + header.name + (header.fileName ? "=" + *header.fileName : "") + ">";
    }
    void partData(std::string_view bytes) override
    {
        hasSeenNothing = hasSeenNothing || bytes.empty();
        text += bytes;
    }
    void endPart() override { text += "</>"; }

    std::string text;
    bool hasSeenNothing = false; ///< partData() came without bytes
};

struct Outcome
{
    QByteArray transcript;
    QByteArray refusal; ///< empty: the form was taken
    bool hasSeenNothing = false;
};

Outcome readInChunks(const QByteArray &form, int chunkSize)
{
    Transcript transcript;
    QByteArray reason;
    try {
        MultipartReader reader("B", transcript);
        for (int i = 0; i < form.size(); i += chunkSize)
            reader.feed(form.mid(i, chunkSize).toStdString());
        reader.finish();
    } catch (const Refusal &refusal) {
        reason = QByteArray::number(refusal.status) + " " + refusal.what();
    }
    return {QByteArray::fromStdString(transcript.text), reason, transcript.hasSeenNothing};
}

QByteArray part(const QByteArray &name, const QByteArray &body)
{
    return "--B\r\nContent-Disposition: form-data; name=\"" + name + "\"\r\n\r\n" + body + "\r\n";
}

} // namespace

class TestMultipartReader : public QObject
{
    Q_OBJECT

private slots:
    void readsPartsInChunksOfAnySize_data();
    void readsPartsInChunksOfAnySize();
    void refusesInChunksOfAnySize_data();
    void refusesInChunksOfAnySize();
    void handsOutFileBytesAsTheyCome();
    void refusesEndlessHeaders();
};

void TestMultipartReader::readsPartsInChunksOfAnySize_data()
{
    QTest::addColumn<QByteArray>("form");
    QTest::addColumn<QByteArray>("transcript");

    QTest::newRow("no part") << QByteArray("--B--") << QByteArray();
    QTest::newRow("one part") << part("a", "text") + "--B--\r\n" << QByteArray("<a>text</>");
    QTest::newRow("no line end at the end") << part("a", "text") + "--B--" << QByteArray("<a>text</>");
    QTest::newRow("empty part") << part("a", "") + "--B--\r\n" << QByteArray("<a></>");
    QTest::newRow("three parts") << part("a", "1") + part("b", "") + part("c", "3") + "--B--\r\n"
                                 << QByteArray("<a>1</><b></><c>3</>");
    QTest::newRow("file") << QByteArray("--B\r\nContent-Type: image/png\r\nContent-Disposition: form-data; "
                                        "name=\"file\"; filename=\"x.log\"\r\n\r\nbytes\r\n--B--\r\n")
                          << QByteArray("<file=x.log>bytes</>");
    QTest::newRow("body of line ends") << part("a", "\r\n\r\n\r\r\n\n") + "--B--\r\n"
                                       << QByteArray("<a>\r\n\r\n\r\r\n\n</>");
    QTest::newRow("body with almost a boundary") << part("a", "--B\r\n-B\r\n--A\r\n--\r\n-\n--B--") + "--B--\r\n"
                                                 << QByteArray("<a>--B\r\n-B\r\n--A\r\n--\r\n-\n--B--</>");
    QTest::newRow("body of zeros") << part("a", QByteArray(5, '\0')) + "--B--\r\n"
                                   << "<a>" + QByteArray(5, '\0') + "</>";
}

void TestMultipartReader::readsPartsInChunksOfAnySize()
{
    QFETCH(QByteArray, form);
    QFETCH(QByteArray, transcript);
    for (int chunkSize = 1; chunkSize <= form.size(); ++chunkSize) {
        const Outcome outcome = readInChunks(form, chunkSize);
        QCOMPARE(outcome.refusal, QByteArray());
        QCOMPARE(outcome.transcript, transcript);
        QVERIFY(!outcome.hasSeenNothing);
    }
}

void TestMultipartReader::refusesInChunksOfAnySize_data()
{
    QTest::addColumn<QByteArray>("form");
    QTest::addColumn<QByteArray>("refusal");

    const QByteArray early("400 the form ends before its closing boundary");
    const QByteArray beginning("400 the form does not begin with the boundary that the content type names");
    const QByteArray behind("400 there are bytes behind the closing boundary");
    const QByteArray sameLine("400 a boundary is followed by other text in its line");
    const QByteArray noDisposition("400 a part has no Content-Disposition header");

    QTest::newRow("nothing") << QByteArray() << early;
    QTest::newRow("half a boundary") << QByteArray("--") << early;
    QTest::newRow("boundary alone") << QByteArray("--B") << early;
    QTest::newRow("half a closing") << part("a", "text") + "--B-" << early;
    QTest::newRow("no closing") << part("a", "text") << early;
    QTest::newRow("no closing behind a whole boundary") << part("a", "text") + "--B\r\n" << early;
    QTest::newRow("header cut off") << part("a", "text").left(20) << early;
    QTest::newRow("body cut off") << part("a", "text").left(46) << early;
    QTest::newRow("line end in front") << "\r\n" + part("a", "text") + "--B--\r\n" << beginning;
    QTest::newRow("preamble") << "hello\r\n" + part("a", "text") + "--B--\r\n" << beginning;
    QTest::newRow("other boundary") << QByteArray("--C\r\nContent-Disposition: form-data; name=\"a\"\r\n\r\n\r\n--C--")
                                    << beginning;
    QTest::newRow("longer boundary") << QByteArray(
                                            "--BB\r\nContent-Disposition: form-data; name=\"a\"\r\n\r\n\r\n--BB--")
                                     << sameLine;
    QTest::newRow("blank behind a boundary") << QByteArray("--B \r\n") << sameLine;
    QTest::newRow("bare line feed behind a boundary") << QByteArray("--B\nContent") << sameLine;
    QTest::newRow("body with the boundary") << part("a", "x\r\n--Bx") + "--B--\r\n" << sameLine;
    QTest::newRow("epilogue") << part("a", "text") + "--B--\r\nbye" << behind;
    QTest::newRow("epilogue in the line") << part("a", "text") + "--B--bye" << behind;
    QTest::newRow("second line end") << part("a", "text") + "--B--\r\n\r\n" << behind;
    QTest::newRow("half a line end") << part("a", "text") + "--B--\r" << behind;
    QTest::newRow("second form") << part("a", "text") + "--B--\r\n" + part("a", "text") + "--B--\r\n" << behind;
    QTest::newRow("no header") << QByteArray("--B\r\n\r\ntext\r\n--B--\r\n") << noDisposition;
    QTest::newRow("no disposition") << QByteArray("--B\r\nContent-Type: a/b\r\n\r\ntext\r\n--B--\r\n") << noDisposition;
}

void TestMultipartReader::refusesInChunksOfAnySize()
{
    QFETCH(QByteArray, form);
    QFETCH(QByteArray, refusal);
    for (int chunkSize = 1; chunkSize <= qMax(1, int(form.size())); ++chunkSize)
        QCOMPARE(readInChunks(form, chunkSize).refusal, refusal);
}

void TestMultipartReader::handsOutFileBytesAsTheyCome()
{
    Transcript transcript;
    MultipartReader reader("B", transcript);
    reader.feed("--B\r\nContent-Disposition: form-data; name=\"file\"; filename=\"x\"\r\n\r\n");
    const std::string chunk(1000, 'x');
    reader.feed(chunk);
    const std::string sofar = transcript.text;
    QVERIFY(sofar.size() >= std::string("<file=x>").size() + chunk.size() - std::string("\r\n--B").size());
}

void TestMultipartReader::refusesEndlessHeaders()
{
    Transcript transcript;
    MultipartReader reader("B", transcript);
    reader.feed("--B\r\nX: ");
    const std::string chunk(1000, 'x');
    int chunks = 0;
    QVERIFY_EXCEPTION_THROWN(for (; chunks < 1000; ++chunks) reader.feed(chunk), Refusal);
    QVERIFY(chunks >= 60);
    QVERIFY(chunks <= 66);
}

QTEST_GUILESS_MAIN(TestMultipartReader)
#include "tst_multipartreader.moc"
