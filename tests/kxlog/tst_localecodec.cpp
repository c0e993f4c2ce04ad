#include "logsession.h"
#include "openkxlog.h"
#include "support/files/fileio.h"

#include <QTemporaryFile>
#include <QTest>
#include <QTextCodec>
#include <cstdio>
#include <unistd.h>

/// Records and lines in the encoding of the locale, which Qt 5 lets a program choose. Qt 6 has no other than UTF-8.
class TestLocaleCodec : public QObject
{
    Q_OBJECT

private slots:
    void cleanup();
    void writesRecordsInIt();
    void writesLinesInIt();
    void echoesInIt();

private:
    QTextCodec *const before_ = QTextCodec::codecForLocale();
};

namespace {

void setCodec(const char *name)
{
    QTextCodec::setCodecForLocale(QTextCodec::codecForName(name));
}

void logIn(const char *codec, const QString &text)
{
    setCodec(codec);
    outputMessage(QtDebugMsg, QMessageLogContext("f", 1, "ü", "default"), text);
}

} // namespace

// Names of files are in the encoding of the locale as well.
void TestLocaleCodec::cleanup()
{
    QTextCodec::setCodecForLocale(before_);
}

void TestLocaleCodec::writesRecordsInIt()
{
    const LogSession session;
    const QString umlauts = QString::fromUtf8("größe 大");
    logIn("ISO-8859-1", QStringLiteral("text"));
    logIn("ISO-8859-1", umlauts);
    logIn("UTF-8", umlauts);
    // In this one letters of ASCII are other bytes.
    logIn("UTF-16BE", QStringLiteral("text"));
    QTextCodec::setCodecForLocale(before_);
    const QByteArray text = session.bytes();
    QVERIFY2(text.contains("[Debug][f][1][\xFC]text\r\n\n"), text);
    QVERIFY2(text.contains("[Debug][f][1][\xFC]gr\xF6\xDF"
                           "e ?\r\n\n"),
             text);
    QVERIFY2(text.contains("[Debug][f][1][ü]größe 大\r\n\n"), text);
    QVERIFY2(text.endsWith(QByteArray("\0t\0e\0x\0t\0\r\0\n\0\n", 14)), text.toHex());
}

void TestLocaleCodec::writesLinesInIt()
{
    const MessageCatcher quiet;
    QTemporaryDir dir;
    OpenKxLog log;
    log.install_log(dir.path());
    const QString line = QString::fromUtf8("größe");
    setCodec("UTF-8");
    log.write_log(line);
    setCodec("ISO-8859-1");
    log.write_log(line);
    QTextCodec::setCodecForLocale(before_);
    QCOMPARE(readFile(log.fileName()), QByteArrayLiteral("gr\xC3\xB6\xC3\x9F"
                                                         "e\ngr\xF6\xDF"
                                                         "e\n"));
}

void TestLocaleCodec::echoesInIt()
{
    const LogSession session;
    KxLog::instance()->setShowLog(true);
    QTemporaryFile caught;
    QVERIFY(caught.open());
    const int standardError = ::dup(STDERR_FILENO);
    ::dup2(caught.handle(), STDERR_FILENO);
    logIn("ISO-8859-1", QString::fromUtf8("größe"));
    logIn("ISO-8859-1", QStringLiteral("plain"));
    ::dup2(standardError, STDERR_FILENO);
    ::close(standardError);
    QTextCodec::setCodecForLocale(before_);
    const QByteArray echo = readFile(caught.fileName());
    QVERIFY2(echo.contains("[\xFC]gr\xF6\xDF"
                           "e\r\n\n"),
             echo);
    QVERIFY2(echo.endsWith("[\xFC]plain\r\n\n"), echo);
    QVERIFY2(echo.endsWith(session.bytes()), echo);
}

QTEST_GUILESS_MAIN(TestLocaleCodec)
#include "tst_localecodec.moc"
