#include "wire/uploadanswer.h"

#include <QTest>

using uploadanswer::FileOutcome;
using uploadanswer::judge;
using uploadanswer::judgeListedFile;
using uploadanswer::Verdict;

Q_DECLARE_METATYPE(uploadanswer::Verdict)

namespace {

QByteArray nestedArrays(int depth)
{
    return QByteArrayLiteral("{\"Code\":5,\"data\":") + QByteArray(depth, '[') + QByteArray(depth, ']') + '}';
}

} // namespace

class TestUploadAnswer : public QObject
{
    Q_OBJECT

private slots:
    void judgesTheBody_data();
    void judgesTheBody();
    void judgesAListedFile_data();
    void judgesAListedFile();
};

void TestUploadAnswer::judgesTheBody_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<Verdict>("verdict");

    QTest::newRow("0") << QByteArray("{\"Code\":0}") << Verdict::Accepted;
    QTest::newRow("0 among other members") << QByteArray("{\"Msg\":\"ok\",\"Code\":0,\"n\":1}") << Verdict::Accepted;
    QTest::newRow("0 with spaces") << QByteArray(" {\r\n\t\"Code\" : 0 } \n") << Verdict::Accepted;
    QTest::newRow("0.0") << QByteArray("{\"Code\":0.0}") << Verdict::Accepted;
    QTest::newRow("-0") << QByteArray("{\"Code\":-0}") << Verdict::Accepted;
    QTest::newRow("5") << QByteArray("{\"Code\":5}") << Verdict::Rejected;
    QTest::newRow("1") << QByteArray("{\"Code\":1}") << Verdict::Rejected;
    QTest::newRow("-1") << QByteArray("{\"Code\":-1}") << Verdict::Rejected;
    QTest::newRow("5.0") << QByteArray("{\"Code\":5.0}") << Verdict::Rejected;
    QTest::newRow("5e0") << QByteArray("{\"Code\":5e0}") << Verdict::Rejected;
    QTest::newRow("largest int") << QByteArray("{\"Code\":2147483647}") << Verdict::Rejected;

    QTest::newRow("missing") << QByteArray("{\"Msg\":\"ok\"}") << Verdict::Accepted;
    QTest::newRow("empty object") << QByteArray("{}") << Verdict::Accepted;
    QTest::newRow("other case") << QByteArray("{\"code\":5,\"CODE\":5}") << Verdict::Accepted;
    QTest::newRow("one level down") << QByteArray("{\"data\":{\"Code\":5}}") << Verdict::Accepted;
    QTest::newRow("text 5") << QByteArray("{\"Code\":\"5\"}") << Verdict::Accepted;
    QTest::newRow("text") << QByteArray("{\"Code\":\"failed\"}") << Verdict::Accepted;
    QTest::newRow("5.5") << QByteArray("{\"Code\":5.5}") << Verdict::Accepted;
    QTest::newRow("1e300") << QByteArray("{\"Code\":1e300}") << Verdict::Accepted;
    QTest::newRow("beyond int") << QByteArray("{\"Code\":2147483648}") << Verdict::Accepted;
    QTest::newRow("true") << QByteArray("{\"Code\":true}") << Verdict::Accepted;
    QTest::newRow("null") << QByteArray("{\"Code\":null}") << Verdict::Accepted;
    QTest::newRow("Code is an array") << QByteArray("{\"Code\":[5]}") << Verdict::Accepted;
    QTest::newRow("Code is an object") << QByteArray("{\"Code\":{\"Code\":5}}") << Verdict::Accepted;
    QTest::newRow("top-level array") << QByteArray("[{\"Code\":5}]") << Verdict::Accepted;
    QTest::newRow("empty array") << QByteArray("[]") << Verdict::Accepted;

    QTest::newRow("byte order mark, 0") << QByteArray("\xEF\xBB\xBF{\"Code\":0}") << Verdict::Accepted;
    QTest::newRow("byte order mark, 5") << QByteArray("\xEF\xBB\xBF{\"Code\":5}") << Verdict::Rejected;
    QTest::newRow("non-ASCII text") << QByteArray("{\"Code\":5,\"Msg\":\"\xC3\xA9\xE4\xB8\xAD\"}") << Verdict::Rejected;
    QTest::newRow("500 levels") << nestedArrays(500) << Verdict::Rejected;

    QTest::newRow("nothing") << QByteArray() << Verdict::NotJson;
    QTest::newRow("spaces only") << QByteArray("  \r\n") << Verdict::NotJson;
    QTest::newRow("byte order mark only") << QByteArray("\xEF\xBB\xBF") << Verdict::NotJson;
    QTest::newRow("words") << QByteArray("OK") << Verdict::NotJson;
    QTest::newRow("web page") << QByteArray("<html>Code: 0</html>") << Verdict::NotJson;
    QTest::newRow("scalar number") << QByteArray("5") << Verdict::NotJson;
    QTest::newRow("scalar text") << QByteArray("\"Code\"") << Verdict::NotJson;
    QTest::newRow("scalar null") << QByteArray("null") << Verdict::NotJson;
    QTest::newRow("cut in the value") << QByteArray("{\"Code\":0") << Verdict::NotJson;
    QTest::newRow("cut in the name") << QByteArray("{\"Cod") << Verdict::NotJson;
    QTest::newRow("something behind") << QByteArray("{\"Code\":0}x") << Verdict::NotJson;
    QTest::newRow("trailing comma") << QByteArray("{\"Code\":0,}") << Verdict::NotJson;
    QTest::newRow("single quotes") << QByteArray("{'Code':0}") << Verdict::NotJson;
    QTest::newRow("NUL bytes") << QByteArray(16, '\0') << Verdict::NotJson;
    QTest::newRow("broken UTF-8") << QByteArray("{\"Code\":0,\"Msg\":\"\xFF\xFE\"}") << Verdict::NotJson;
    QTest::newRow("100,000 levels") << nestedArrays(100000) << Verdict::NotJson;
    QTest::newRow("100,000 openings") << QByteArray(100000, '[') << Verdict::NotJson;
}

void TestUploadAnswer::judgesTheBody()
{
    QFETCH(const QByteArray, body);
    QFETCH(const Verdict, verdict);
    QCOMPARE(judge(body), verdict);
}

void TestUploadAnswer::judgesAListedFile_data()
{
    QTest::addColumn<bool>("transportError");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<bool>("sdk");
    QTest::addColumn<bool>("removeGroup");
    QTest::addColumn<bool>("deleteLocalFile");

    const QByteArray accepted = QByteArrayLiteral("{\"Code\":0}");
    const QByteArray rejected = QByteArrayLiteral("{\"Code\":5}");
    const QByteArray notJson = QByteArrayLiteral("OK");
    QTest::newRow("ordinary, accepted") << false << accepted << false << true << false;
    QTest::newRow("ordinary, rejected") << false << rejected << false << false << false;
    QTest::newRow("ordinary, not JSON") << false << notJson << false << false << false;
    QTest::newRow("ordinary, empty") << false << QByteArray() << false << false << false;
    QTest::newRow("SDK, accepted") << false << accepted << true << true << true;
    QTest::newRow("SDK, rejected") << false << rejected << true << false << true;
    QTest::newRow("SDK, not JSON") << false << notJson << true << false << false;
    QTest::newRow("SDK, empty") << false << QByteArray() << true << false << false;
    QTest::newRow("ordinary, transport error, accepting body") << true << accepted << false << false << false;
    QTest::newRow("ordinary, transport error, not JSON") << true << notJson << false << false << false;
    QTest::newRow("SDK, transport error, accepting body") << true << accepted << true << false << false;
    QTest::newRow("SDK, transport error, rejecting body") << true << rejected << true << false << false;
    QTest::newRow("SDK, transport error, empty") << true << QByteArray() << true << false << false;
}

void TestUploadAnswer::judgesAListedFile()
{
    QFETCH(const bool, transportError);
    QFETCH(const QByteArray, body);
    QFETCH(const bool, sdk);
    const FileOutcome outcome = judgeListedFile(transportError, body, sdk);
    QTEST(outcome.removeGroup, "removeGroup");
    QTEST(outcome.deleteLocalFile, "deleteLocalFile");
}

QTEST_GUILESS_MAIN(TestUploadAnswer)
#include "tst_uploadanswer.moc"
