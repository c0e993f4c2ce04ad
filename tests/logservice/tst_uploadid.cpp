#include "uploadid.h"

#include <QtTest/QtTest>

class TestUploadId : public QObject
{
    Q_OBJECT

private slots:
    void readsIds_data();
    void readsIds();
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

QTEST_GUILESS_MAIN(TestUploadId)
#include "tst_uploadid.moc"
