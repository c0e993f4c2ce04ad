#include "store/uploadid.h"

#include <QtTest/QtTest>

class TestUploadId : public QObject
{
    Q_OBJECT

private slots:
    void readsIds_data();
    void readsIds();
    void makesOnlyWhatItReads_data();
    void makesOnlyWhatItReads();
};

void TestUploadId::readsIds_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<bool>("isId");
    QTest::newRow("usual") << QByteArray("000001-logfile") << true;
    QTest::newRow("large") << QByteArray("123456789012345678-crash") << true;
    QTest::newRow("too large") << QByteArray("1234567890123456789-crash") << false;
    QTest::newRow("empty") << QByteArray() << false;
    QTest::newRow("no dash") << QByteArray("000001") << false;
    QTest::newRow("no number") << QByteArray("-logfile") << false;
    QTest::newRow("no kind") << QByteArray("000001-") << false;
    QTest::newRow("sign") << QByteArray("+1-logfile") << false;
    QTest::newRow("capitals") << QByteArray("1-Logfile") << false;
    QTest::newRow("second dash") << QByteArray("1-log-file") << false;
    QTest::newRow("slash") << QByteArray("1-log/file") << false;
    QTest::newRow("dots") << QByteArray("1-..") << false;
    QTest::newRow("up") << QByteArray("../000001-logfile") << false;
    QTest::newRow("NUL") << QByteArray("1-log\0", 6) << false;
    QTest::newRow("line end") << QByteArray("1-log\n") << false;
    QTest::newRow("markup") << QByteArray("1-<b>") << false;
    QTest::newRow("long kind") << "1-" + QByteArray(33, 'x') << false;
}

void TestUploadId::readsIds()
{
    QFETCH(QByteArray, text);
    const auto id = parseUploadId(text.toStdString());
    QTEST(id.has_value(), "isId");
    if (id)
        QCOMPARE(QByteArray::fromStdString(id->text), text);
}

void TestUploadId::makesOnlyWhatItReads_data()
{
    QTest::addColumn<qulonglong>("number");
    QTest::addColumn<QByteArray>("kind");
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("first") << 1ULL << QByteArray("logfile") << QByteArray("000001-logfile");
    QTest::newRow("long") << 1234567ULL << QByteArray("crash") << QByteArray("1234567-crash");
    QTest::newRow("last") << 999999999999999999ULL << QByteArray("crash") << QByteArray("999999999999999999-crash");
    QTest::newRow("behind the last") << 1000000000000000000ULL << QByteArray("crash") << QByteArray("none");
    QTest::newRow("no kind") << 1ULL << QByteArray() << QByteArray("none");
    QTest::newRow("kind of a path") << 1ULL << QByteArray("a/b") << QByteArray("none");
}

void TestUploadId::makesOnlyWhatItReads()
{
    QFETCH(qulonglong, number);
    QFETCH(QByteArray, kind);
    const auto id = makeUploadId(number, kind.toStdString());
    QTEST(id ? QByteArray::fromStdString(id->text) : QByteArray("none"), "text");
    if (id) {
        QCOMPARE(qulonglong(id->number), number);
        QCOMPARE(id->kind, kind.toStdString());
    }
}

QTEST_GUILESS_MAIN(TestUploadId)
#include "tst_uploadid.moc"
