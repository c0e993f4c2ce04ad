#include "store/jsonobject.h"

#include <QtTest/QtTest>

#include <ctime>

namespace {

/// {"a":{"0":{},"1":{},...}}
std::string manyMembers(int count)
{
    std::string text = R"({"a":{)";
    for (int i = 0; i < count; ++i)
        text += (i > 0 ? ",\"" : "\"") + std::to_string(i) + "\":{}";
    return text + "}}";
}

std::string repeated(const std::string &text, int times)
{
    std::string all;
    for (int i = 0; i < times; ++i)
        all += text;
    return all;
}

/// Processor time of \a runs readings of \a text; 0 when one fails.
std::clock_t timeOf(const std::string &text, int runs)
{
    const auto begin = std::clock();
    for (int i = 0; i < runs; ++i) {
        if (!parseObject(text))
            return 0;
    }
    return std::clock() - begin;
}

} // namespace

class TestJsonObject : public QObject
{
    Q_OBJECT

private slots:
    void readsObjects();
    void readsNothingElse_data();
    void readsNothingElse();
    void boundsTheDepth();
    void boundsTheElements();
    void countsNothingWithinTexts();
    void takesTimeInProportionToTheMembers();
};

void TestJsonObject::readsObjects()
{
    QVERIFY(parseObject("{}") == nlohmann::json::object());
    const auto document = parseObject(R"( {"a":[1,-2.5,"x\"]",null,true],"b":{"c":"Zoë"},"a":18446744073709551615} )");
    QVERIFY(document.has_value());
    QCOMPARE(QByteArray::fromStdString(document->dump()), QByteArray(R"({"a":18446744073709551615,"b":{"c":"Zoë"}})"));
}

void TestJsonObject::readsNothingElse_data()
{
    QTest::addColumn<QByteArray>("text");
    for (const char *text : {"", "x", "1", "[]", "\"{}\"", "null", "{", "{}}", "{}{}", "{\"a\":1,}", "{\"a\"}",
                             "{'a':1}", "{\"a\":\"\xff\"}"})
        QTest::newRow(text) << QByteArray(text);
}

void TestJsonObject::readsNothingElse()
{
    QFETCH(QByteArray, text);
    QVERIFY(!parseObject(text.toStdString()));
}

void TestJsonObject::boundsTheDepth()
{
    QVERIFY(parseObject(repeated(R"({"a":)", 99) + "[]" + repeated("}", 99)));
    QVERIFY(!parseObject(repeated(R"({"a":)", 100) + "[]" + repeated("}", 100)));
    QVERIFY(!parseObject(repeated(R"({"a":)", 1000000) + "1" + repeated("}", 1000000)));
    QVERIFY(parseObject(repeated(R"({"a":)", 99) + "[]" + repeated("}", 99) + " "));
    QVERIFY(parseObject(R"({"a":[[],[]]})", 3));
    QVERIFY(!parseObject(R"({"a":[[],[]]})", 2));
}

void TestJsonObject::boundsTheElements()
{
    QVERIFY(parseObject("{\"a\":[0" + repeated(",0", kMaxDocumentElements - 10) + "]}"));
    QVERIFY(!parseObject("{\"a\":[0" + repeated(",0", kMaxDocumentElements) + "]}"));
    QVERIFY(!parseObject("{\"a\":[[]" + repeated(",[]", kMaxDocumentElements / 2) + "]}"));
}

void TestJsonObject::countsNothingWithinTexts()
{
    QVERIFY(parseObject("{\"a\":\"" + repeated("[{,\\\"", kMaxDocumentElements) + "\\\\\"}"));
}

void TestJsonObject::takesTimeInProportionToTheMembers()
{
    const auto few = manyMembers(5000);
    const auto many = manyMembers(50000);
    timeOf(few, 10);
    const auto timeOfFew = timeOf(few, 10);
    const auto timeOfMany = timeOf(many, 1);
    QVERIFY(timeOfFew > 0);
    QVERIFY(timeOfMany > 0);
    // As many members in both; with quadratic costs it would be ten.
    const double ratio = double(timeOfMany) / double(timeOfFew);
    qInfo("50,000 members take %.2f times as long as ten times 5,000", ratio);
    QVERIFY2(ratio < 4, QByteArray::number(ratio).constData());
}

QTEST_GUILESS_MAIN(TestJsonObject)
#include "tst_jsonobject.moc"
