#include "kxlog/logreport.h"

#include <QTest>
#include <limits>

/// The document of an error report.
class TestErrorDocument : public QObject
{
    Q_OBJECT

private slots:
    void leavesOutWhatIsNotKnown_data();
    void leavesOutWhatIsNotKnown();
    void keepsTheWholeType_data();
    void keepsTheWholeType();
    void keepsAMessageThatReadsLikeItsType();
};

void TestErrorDocument::leavesOutWhatIsNotKnown_data()
{
    QTest::addColumn<QString>("room");
    QTest::addColumn<QString>("user");
    QTest::addColumn<int>("role");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("text");

    // Bits of the number say which of the four are known.
    for (int known = 0; known < 16; ++known) {
        const bool hasRoom = (known & 1) != 0;
        const bool hasUser = (known & 2) != 0;
        const bool hasRole = (known & 4) != 0;
        const bool hasName = (known & 8) != 0;
        QByteArray text = QByteArrayLiteral("{\n    \"message\": \"m\",\n    \"namespace\": \"kavri\",\n");
        if (hasRole)
            text += "    \"role\": 0,\n";
        if (hasRoom)
            text += "    \"room_sdk_id\": \"r\",\n";
        text += "    \"sdk\": \"5\",\n    \"type\": 1";
        if (hasUser)
            text += ",\n    \"user_id\": \"u\"";
        if (hasName)
            text += ",\n    \"username\": \"n\"";
        text += "\n}\n";
        QTest::newRow(qPrintable(
            QStringLiteral("room %1, user %2, role %3, name %4").arg(hasRoom).arg(hasUser).arg(hasRole).arg(hasName)))
            << (hasRoom ? QStringLiteral("r") : QString()) << (hasUser ? QStringLiteral("u") : QString())
            << (hasRole ? 0 : -1) << (hasName ? QStringLiteral("n") : QString()) << text;
    }
    QTest::newRow("role far below") << QString() << QString() << std::numeric_limits<int>::min() << QString()
                                    << QByteArrayLiteral("{\n    \"message\": \"m\",\n    \"namespace\": \"kavri\",\n"
                                                         "    \"sdk\": \"5\",\n    \"type\": 1\n}\n");
}

void TestErrorDocument::leavesOutWhatIsNotKnown()
{
    QFETCH(QString, room);
    QFETCH(QString, user);
    QFETCH(int, role);
    QFETCH(QString, name);
    QFETCH(QByteArray, text);
    QCOMPARE(logreport::errorDocument(room, user, role, name, QStringLiteral("m"), 1), text);
}

void TestErrorDocument::keepsTheWholeType_data()
{
    QTest::addColumn<qint64>("type");
    QTest::addColumn<QByteArray>("text");

    QTest::newRow("beyond a double") << Q_INT64_C(9007199254740993) << QByteArrayLiteral("9007199254740993");
    QTest::newRow("smallest") << std::numeric_limits<qint64>::min() << QByteArrayLiteral("-9223372036854775808");
}

void TestErrorDocument::keepsTheWholeType()
{
    QFETCH(qint64, type);
    QFETCH(QByteArray, text);
    const QByteArray document = logreport::errorDocument(QString(), QString(), -1, QString(), QString(), type);
    QVERIFY2(document.contains("    \"type\": " + text + "\n}"), document.constData());
}

void TestErrorDocument::keepsAMessageThatReadsLikeItsType()
{
    QCOMPARE(logreport::errorDocument(QString(), QString(), -1, QString(),
                                      QStringLiteral("\n    \"type\": 0\n    \"sdk\": 0"), 12),
             QByteArrayLiteral("{\n"
                               "    \"message\": \"\\n    \\\"type\\\": 0\\n    \\\"sdk\\\": 0\",\n"
                               "    \"namespace\": \"kavri\",\n"
                               "    \"sdk\": \"5\",\n"
                               "    \"type\": 12\n"
                               "}\n"));
}

QTEST_GUILESS_MAIN(TestErrorDocument)
#include "tst_errordocument.moc"
