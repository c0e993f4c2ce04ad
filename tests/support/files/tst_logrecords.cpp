#include "support/files/logrecords.h"

#include <QTest>

class TestLogRecords : public QObject
{
    Q_OBJECT

private slots:
    void readsAllFieldsOfARecord()
    {
        const LogRecords log("[2024-05-01 09:30:00][Warning][src/net][42][void f()]timeout\r\n\n");
        QVERIFY2(log.isWellFormed(), log.describe());
        QCOMPARE(log.all().size(), 1);
        const LogRecord record = log.all().first();
        QCOMPARE(record.time, QDateTime(QDate(2024, 5, 1), QTime(9, 30)));
        QCOMPARE(record.level, QStringLiteral("Warning"));
        QCOMPARE(record.file, QStringLiteral("src/net"));
        QCOMPARE(record.line, 42);
        QCOMPARE(record.function, QStringLiteral("void f()"));
        QCOMPARE(record.message, QStringLiteral("timeout"));
    }

    void readsUnusualRecords_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QString>("level");
        QTest::addColumn<QString>("function");
        QTest::addColumn<QString>("message");
        QTest::newRow("no level") << QByteArray("[f.cpp][1][g]hello") << QString() << QStringLiteral("g")
                                  << QStringLiteral("hello");
        QTest::newRow("null context") << QByteArray("[Debug][][0][]hello") << QStringLiteral("Debug") << QString()
                                      << QStringLiteral("hello");
        QTest::newRow("brackets in the signature")
            << QByteArray("[Debug][f][1][int A::operator[](int)]x") << QStringLiteral("Debug")
            << QStringLiteral("int A::operator[](int)") << QStringLiteral("x");
        QTest::newRow("brackets in the message") << QByteArray("[Debug][f][1][g][a][b]") << QStringLiteral("Debug")
                                                 << QStringLiteral("g") << QStringLiteral("[a][b]");
        QTest::newRow("line ends in the message")
            << QByteArray("[Debug][f][1][g]a\r\nb\n\nc") << QStringLiteral("Debug") << QStringLiteral("g")
            << QStringLiteral("a\r\nb\n\nc");
        QTest::newRow("empty message") << QByteArray("[Fatal][f][1][g]") << QStringLiteral("Fatal")
                                       << QStringLiteral("g") << QString();
    }
    void readsUnusualRecords()
    {
        QFETCH(QByteArray, text);
        const LogRecords log("[2024-05-01 09:30:00]" + text + "\r\n\n");
        QVERIFY2(log.isWellFormed(), log.describe());
        QTEST(log.all().first().level, "level");
        QTEST(log.all().first().function, "function");
        QTEST(log.all().first().message, "message");
    }

    void reportsWhatIsNoRecord_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        const QByteArray good("[2024-05-01 09:30:00][Debug][f][1][g]x");
        QTest::newRow("one line feed only") << good + "\r\n";
        QTest::newRow("no carriage return") << good + "\n\n";
        QTest::newRow("no end") << good;
        QTest::newRow("unknown level") << QByteArray(good + "\r\n\n").replace("Debug", "debug");
        QTest::newRow("impossible time") << QByteArray(good + "\r\n\n").replace("09:30", "29:30");
        QTest::newRow("blank after the time") << QByteArray(good + "\r\n\n").replace("][Debug", "] [Debug");
        QTest::newRow("no function") << QByteArray(good + "\r\n\n").replace("[g]", "");
        QTest::newRow("one good, one bad") << good + "\r\n\nsomething\r\n\n";
    }
    void reportsWhatIsNoRecord()
    {
        QFETCH(QByteArray, bytes);
        QVERIFY(!LogRecords(bytes).isWellFormed());
    }

    void findsRecordsByFunctionAndText()
    {
        const QByteArray time("[2024-05-01 09:30:00]");
        const LogRecords log(time + "[Debug][f][1][void a()]one two\r\n\n" + time + "[Debug][f][2][void b()]two\r\n\n");
        QCOMPARE(log.messages(), (QStringList{QStringLiteral("one two"), QStringLiteral("two")}));
        QCOMPARE(log.from(QStringLiteral("void b()")).size(), 1);
        QCOMPARE(log.containing(QStringLiteral("two")).size(), 2);
        QVERIFY(log.contains("void a()", "one"));
        QVERIFY(!log.contains("void b()", "one"));
        QVERIFY(!log.contains("void", "one"));
    }

    void readsAnEmptyLog()
    {
        QVERIFY(LogRecords(QByteArray()).isWellFormed());
        QVERIFY(LogRecords(QByteArray()).all().isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestLogRecords)
#include "tst_logrecords.moc"
