#include "kxlog/logreport.h"

#include <QJsonDocument>
#include <QTest>
#include <limits>

class TestReportDocuments : public QObject
{
    Q_OBJECT

private slots:
    void reportHasAllMembers();
    void emptyReportKeepsItsTypes();
    void reportKeepsTheRangesOfItsNumbers();
    void errorHasAllMembers();
    void errorLeavesOutWhatIsNotKnown_data();
    void errorLeavesOutWhatIsNotKnown();
    void errorKeepsTheWholeType_data();
    void errorKeepsTheWholeType();
    void errorKeepsAMessageThatReadsLikeItsType();
};

namespace {

QByteArray textOf(const QJsonObject &document)
{
    return QJsonDocument(document).toJson();
}

} // namespace

void TestReportDocuments::reportHasAllMembers()
{
    logreport::Report report;
    report.level = 5;
    report.clientType = 2;
    report.trigger = 3;
    report.appKey = QStringLiteral("app");
    report.roomId = QStringLiteral("room");
    report.clientDescription = QStringLiteral("media_client");
    report.device = QStringLiteral("{\"cpu\":\"\"}");
    report.serviceVersion = QStringLiteral("v9");
    report.clientVersion = QStringLiteral("2.3.1");
    report.system = QStringLiteral("mac10.9");
    report.userId = QString::fromUtf8("用户");
    report.title = QStringLiteral("media_reconnect");
    report.data = QStringLiteral("[f][1][g]text\n");
    report.server = QStringLiteral("server");
    report.clientAddress = QStringLiteral("7");
    report.uploadSpeed = 120;
    report.downloadSpeed = -64;
    report.reconnectCount = 4;
    report.timestamp = 8;
    report.elapsedSeconds = 99;
    report.clientName = QStringLiteral("client");

    QCOMPARE(textOf(logreport::reportDocument(report)),
             QByteArrayLiteral("{\n"
                               "    \"AppKey\": \"app\",\n"
                               "    \"CDesc\": \"media_client\",\n"
                               "    \"CIP\": \"7\",\n"
                               "    \"CType\": 2,\n"
                               "    \"CVer\": \"2.3.1\",\n"
                               "    \"Device\": \"{\\\"cpu\\\":\\\"\\\"}\",\n"
                               "    \"ElapsedTime\": 99,\n"
                               "    \"Level\": 5,\n"
                               "    \"LogData\": \"[f][1][g]text\\n\",\n"
                               "    \"LogTitle\": \"media_reconnect\",\n"
                               "    \"OS\": \"mac10.9\",\n"
                               "    \"ProdDesc\": \"client\",\n"
                               "    \"ReconnCnt\": 4,\n"
                               "    \"RoomId\": \"room\",\n"
                               "    \"SVer\": \"v9\",\n"
                               "    \"Server\": \"server\",\n"
                               "    \"Timestamp\": 8,\n"
                               "    \"Trigger\": 3,\n"
                               "    \"UserSid\": \"用户\",\n"
                               "    \"VDownload\": -64,\n"
                               "    \"VUpload\": 120\n"
                               "}\n"));
}

void TestReportDocuments::emptyReportKeepsItsTypes()
{
    QCOMPARE(textOf(logreport::reportDocument(logreport::Report())), QByteArrayLiteral("{\n"
                                                                                       "    \"AppKey\": \"\",\n"
                                                                                       "    \"CDesc\": \"\",\n"
                                                                                       "    \"CIP\": \"\",\n"
                                                                                       "    \"CType\": 0,\n"
                                                                                       "    \"CVer\": \"\",\n"
                                                                                       "    \"Device\": \"\",\n"
                                                                                       "    \"ElapsedTime\": 0,\n"
                                                                                       "    \"Level\": 0,\n"
                                                                                       "    \"LogData\": \"\",\n"
                                                                                       "    \"LogTitle\": \"\",\n"
                                                                                       "    \"OS\": \"\",\n"
                                                                                       "    \"ProdDesc\": \"\",\n"
                                                                                       "    \"ReconnCnt\": 0,\n"
                                                                                       "    \"RoomId\": \"\",\n"
                                                                                       "    \"SVer\": \"\",\n"
                                                                                       "    \"Server\": \"\",\n"
                                                                                       "    \"Timestamp\": 0,\n"
                                                                                       "    \"Trigger\": 0,\n"
                                                                                       "    \"UserSid\": \"\",\n"
                                                                                       "    \"VDownload\": 0,\n"
                                                                                       "    \"VUpload\": 0\n"
                                                                                       "}\n"));
}

void TestReportDocuments::reportKeepsTheRangesOfItsNumbers()
{
    logreport::Report report;
    report.level = 255;
    report.clientType = 255;
    report.trigger = 255;
    report.uploadSpeed = std::numeric_limits<int>::max();
    report.downloadSpeed = std::numeric_limits<int>::min();

    const QByteArray text = textOf(logreport::reportDocument(report));
    QVERIFY(text.contains("\"Level\": 255,"));
    QVERIFY(text.contains("\"CType\": 255,"));
    QVERIFY(text.contains("\"Trigger\": 255,"));
    QVERIFY(text.contains("\"VUpload\": 2147483647\n"));
    QVERIFY(text.contains("\"VDownload\": -2147483648,"));
}

void TestReportDocuments::errorHasAllMembers()
{
    const QByteArray document =
        logreport::errorDocument(QStringLiteral("room"), QStringLiteral("user"), 3, QStringLiteral("name"),
                                 QString::fromUtf8("so \"weit\" für heute"), 7);
    QCOMPARE(document, QByteArrayLiteral("{\n"
                                         "    \"message\": \"so \\\"weit\\\" für heute\",\n"
                                         "    \"namespace\": \"kavri\",\n"
                                         "    \"role\": 3,\n"
                                         "    \"room_sdk_id\": \"room\",\n"
                                         "    \"sdk\": \"5\",\n"
                                         "    \"type\": 7,\n"
                                         "    \"user_id\": \"user\",\n"
                                         "    \"username\": \"name\"\n"
                                         "}\n"));
}

void TestReportDocuments::errorLeavesOutWhatIsNotKnown_data()
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

void TestReportDocuments::errorLeavesOutWhatIsNotKnown()
{
    QFETCH(QString, room);
    QFETCH(QString, user);
    QFETCH(int, role);
    QFETCH(QString, name);
    QFETCH(QByteArray, text);
    QCOMPARE(logreport::errorDocument(room, user, role, name, QStringLiteral("m"), 1), text);
}

void TestReportDocuments::errorKeepsTheWholeType_data()
{
    QTest::addColumn<qint64>("type");
    QTest::addColumn<QByteArray>("text");

    QTest::newRow("0") << Q_INT64_C(0) << QByteArrayLiteral("0");
    QTest::newRow("-1") << Q_INT64_C(-1) << QByteArrayLiteral("-1");
    QTest::newRow("beyond 32 bits") << Q_INT64_C(4294967297) << QByteArrayLiteral("4294967297");
    QTest::newRow("beyond a double") << Q_INT64_C(9007199254740993) << QByteArrayLiteral("9007199254740993");
    QTest::newRow("largest") << std::numeric_limits<qint64>::max() << QByteArrayLiteral("9223372036854775807");
    QTest::newRow("smallest") << std::numeric_limits<qint64>::min() << QByteArrayLiteral("-9223372036854775808");
}

void TestReportDocuments::errorKeepsTheWholeType()
{
    QFETCH(qint64, type);
    QFETCH(QByteArray, text);
    const QByteArray document = logreport::errorDocument(QString(), QString(), -1, QString(), QString(), type);
    QVERIFY2(document.contains("    \"type\": " + text + "\n}"), document.constData());
}

void TestReportDocuments::errorKeepsAMessageThatReadsLikeItsType()
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

QTEST_GUILESS_MAIN(TestReportDocuments)
#include "tst_reportdocuments.moc"
