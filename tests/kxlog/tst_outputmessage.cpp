#include "kxlog/kxlog.h"
#include "logsession.h"
#include "support/files/logrecords.h"

#include <QDateTime>
#include <QDebug>
#include <QNetworkAccessManager>
#include <QTest>

/// The message handler: the bytes of the record that each message leaves in the file.
class TestOutputMessage : public QObject
{
    Q_OBJECT

private slots:
    void writesRecords_data();
    void writesRecords();
    void dropsWarningsOfLibpng_data();
    void dropsWarningsOfLibpng();
    void dropsThemWithoutAReport();
    void takesMessagesOfTheMacros();
    void laterInstallationSaysItsPathToTheEarlierFile();
};

void TestOutputMessage::writesRecords_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QByteArray>("file");
    QTest::addColumn<int>("line");
    QTest::addColumn<QByteArray>("function");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("record"); // behind the time

    const auto row = [](const char *name, int type, const char *text, const char *record) {
        QTest::newRow(name) << type << QByteArrayLiteral("src/net") << 42 << QByteArrayLiteral("void f()")
                            << QString::fromUtf8(text) << QByteArray(record);
    };
    row("debug", QtDebugMsg, "text", "[Debug][src/net][42][void f()]text\r\n\n");
    row("warning", QtWarningMsg, "timeout", "[Warning][src/net][42][void f()]timeout\r\n\n");
    row("critical", QtCriticalMsg, "text", "[Critical][src/net][42][void f()]text\r\n\n");
    row("fatal", QtFatalMsg, "text", "[Fatal][src/net][42][void f()]text\r\n\n");
    row("info has no tag", QtInfoMsg, "text", "[src/net][42][void f()]text\r\n\n");
    row("other types have no tag", 7, "text", "[src/net][42][void f()]text\r\n\n");

    row("empty text", QtDebugMsg, "", "[Debug][src/net][42][void f()]\r\n\n");
    row("blanks around", QtDebugMsg, "  a  ", "[Debug][src/net][42][void f()]  a  \r\n\n");
    row("place markers", QtDebugMsg, "%1 %2 %s %n %%", "[Debug][src/net][42][void f()]%1 %2 %s %n %%\r\n\n");
    row("line feeds", QtDebugMsg, "a\nb\r\nc", "[Debug][src/net][42][void f()]a\nb\r\nc\r\n\n");
    row("escapes stay", QtDebugMsg, "\\\"a\\nb\\\"", "[Debug][src/net][42][void f()]\\\"a\\nb\\\"\r\n\n");
    row("beyond ASCII", QtDebugMsg, "größe 大小 😀", "[Debug][src/net][42][void f()]größe 大小 😀\r\n\n");
    row("fields without a tag", QtDebugMsg, "$#$1$#$ $$1$$ @@2@@",
        "[Debug][src/net][42][void f()]$#$1$#$ $$1$$ @@2@@\r\n\n");

    row("report message", QtWarningMsg, "kx_log lost",
        "[Warning][src/net][42][void f()]kx_client   kx_error   lost\r\n\n");
    row("report message of type info", QtInfoMsg, "kx_log lost",
        "[src/net][42][void f()]kx_client   kx_error   lost\r\n\n");
    row("report message with fields", QtDebugMsg, "kx_log$$1$$@@2@@ net $#$120$#$ #$#64#$#",
        "[Debug][src/net][42][void f()]signal_client   signal_reconnect  count:2 net upload speed:120KB/s download "
        "speed:64KB/s\r\n\n");
    row("report message with escapes", QtCriticalMsg, "kx_log \\\"a\\nb\\\"",
        "[Critical][src/net][42][void f()]kx_client   kx_error   \"ab\"\r\n\n");

    row("libpng, debug", QtDebugMsg, "libpng warning", "[Debug][src/net][42][void f()]libpng warning\r\n\n");
    row("libpng, info", QtInfoMsg, "libpng warning", "[src/net][42][void f()]libpng warning\r\n\n");
    row("libpng, critical", QtCriticalMsg, "libpng error", "[Critical][src/net][42][void f()]libpng error\r\n\n");
    row("libpng in capitals", QtWarningMsg, "LIBPNG Libpng", "[Warning][src/net][42][void f()]LIBPNG Libpng\r\n\n");

    const auto place = [](const char *name, const QByteArray &file, int line, const QByteArray &function,
                          const char *record) {
        QTest::newRow(name) << static_cast<int>(QtDebugMsg) << file << line << function << QStringLiteral("text")
                            << QByteArray(record);
    };
    place("null context", {}, 0, {}, "[Debug][][0][]text\r\n\n");
    place("null file", {}, 7, "void f()", "[Debug][][7][void f()]text\r\n\n");
    place("null function", "f.cpp", 7, {}, "[Debug][f.cpp][7][]text\r\n\n");
    place("empty names", "", 7, "", "[Debug][][7][]text\r\n\n");
    place("file is Latin-1",
          "gr\xF6\xDF"
          "e.cpp",
          7, "f", "[Debug][größe.cpp][7][f]text\r\n\n");
    place("place markers in names", "%1.cpp", 7, "f<%2>", "[Debug][%1.cpp][7][f<%2>]text\r\n\n");
    place("brackets in names", "a[1]", 7, "operator[]", "[Debug][a[1]][7][operator[]]text\r\n\n");
    place("negative line", "f.cpp", -1, "f", "[Debug][f.cpp][-1][f]text\r\n\n");
    place("large line", "f.cpp", 2147483647, "f", "[Debug][f.cpp][2147483647][f]text\r\n\n");
}

void TestOutputMessage::writesRecords()
{
    QFETCH(int, type);
    QFETCH(QByteArray, file);
    QFETCH(int, line);
    QFETCH(QByteArray, function);
    QFETCH(QString, text);
    QFETCH(QByteArray, record);

    LogSession session;
    const QMessageLogContext context(file.isNull() ? nullptr : file.constData(), line,
                                     function.isNull() ? nullptr : function.constData(), "default");
    const qint64 from = QDateTime::currentSecsSinceEpoch();
    outputMessage(static_cast<QtMsgType>(type), context, text);
    const qint64 to = QDateTime::currentSecsSinceEpoch();

    QCOMPARE(session.bytes().mid(kStampSize), record);
    QVERIFY2(isStamped(session.bytes(), from, to), session.bytes().constData());
}

void TestOutputMessage::dropsWarningsOfLibpng_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("alone") << QStringLiteral("libpng");
    QTest::newRow("in front") << QStringLiteral("libpng warning: iCCP: known incorrect sRGB profile");
    QTest::newRow("inside a word") << QStringLiteral("/usr/lib/mylibpng16.so");
    QTest::newRow("report message") << QStringLiteral("kx_log libpng");
}

void TestOutputMessage::dropsWarningsOfLibpng()
{
    QFETCH(QString, text);
    LogSession session;
    outputMessage(QtWarningMsg, QMessageLogContext("f", 1, "g", "default"), text);
    QCOMPARE(session.bytes(), QByteArray(""));
}

void TestOutputMessage::dropsThemWithoutAReport()
{
    LogSession session;
    KxLog::instance()->startReport();
    outputMessage(QtWarningMsg, QMessageLogContext("f", 1, "g", "default"), QStringLiteral("kx_log libpng"));
    QVERIFY(KxLog::instance()->findChildren<QNetworkAccessManager *>().isEmpty());
}

void TestOutputMessage::takesMessagesOfTheMacros()
{
    LogSession session;
    const int line = __LINE__;
    qDebug() << "one" << 1;
    qInfo("two %d", 2);
    qWarning().noquote() << QStringLiteral("three");
    qCritical("four");

    const LogRecords log(session.bytes());
    QVERIFY2(log.isWellFormed(), log.describe());
    QCOMPARE(log.messages(), QStringList({QStringLiteral("one 1"), QStringLiteral("two 2"), QStringLiteral("three"),
                                          QStringLiteral("four")}));
    const QStringList levels = {QStringLiteral("Debug"), QString(), QStringLiteral("Warning"),
                                QStringLiteral("Critical")};
    for (int i = 0; i < 4; ++i) {
        const LogRecord &record = log.all().at(i);
        QCOMPARE(record.level, levels.at(i));
        // Not a path of the machine on which this was built.
        QCOMPARE(record.file, QStringLiteral("tests/kxlog/tst_outputmessage.cpp"));
        QCOMPARE(record.line, line + 1 + i);
        QVERIFY2(record.function.startsWith(QLatin1String("void TestOutputMessage::takesMessagesOfTheMacros(")),
                 log.describe());
    }
}

void TestOutputMessage::laterInstallationSaysItsPathToTheEarlierFile()
{
    LogSession session;
    QTemporaryDir later;
    KxLog::instance()->install_log(later.path());

    const LogRecords log(session.bytes());
    QVERIFY2(log.isWellFormed(), log.describe());
    QCOMPARE(log.messages(), QStringList(QLatin1Char('"') + later.path() + QLatin1Char('"')));
    QCOMPARE(log.all().constFirst().file, QStringLiteral("KxLogReport/kxlog/kxlog.cpp"));
}

QTEST_GUILESS_MAIN(TestOutputMessage)
#include "tst_outputmessage.moc"
