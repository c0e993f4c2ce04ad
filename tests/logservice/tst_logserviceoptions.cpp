#include "support/server/rawclient.h"
#include "support/tool/logserviceprocess.h"
#include "support/wire/documents.h"
#include "support/wire/endpoints.h"
#include "support/wire/multipartform.h"

#include <QtNetwork/QTcpServer>
#include <QtTest/QtTest>

#include <memory>
#include <vector>

#include <sys/stat.h>

namespace {

const QString kPort = QStringLiteral("--port");
const QString kReportPort = QStringLiteral("--report-port");
const QString kNoReport = QStringLiteral("--no-report");
const QString kDir = QStringLiteral("--dir");
const QString kCode = QStringLiteral("--code");
const QString kKeep = QStringLiteral("--keep");
const QString kStatus = QStringLiteral("--status");
const QString kDelay = QStringLiteral("--delay");
const QString kAny = QStringLiteral("0");

QByteArray logRequest()
{
    return post(kLogFilePath, formType(), logForm("a.log", "bytes"));
}

} // namespace

class TestLogServiceOptions : public QObject
{
    Q_OBJECT

private slots:
    void explainsItself();
    void refusesWrongArguments_data();
    void refusesWrongArguments();
    void saysWhereItListensAndStores();
    void listensOnTheGivenPorts();
    void leavesTheReportPortAlone();
    void makesItsFolder();
    void keepsUploadsFromOtherUsers();
    void refusesAnUnusableFolder();
    void refusesAFolderInUse();
    void refusesATakenPort_data();
    void refusesATakenPort();
    void takesItsPortsAgainRightAfterAnEnd();
    void answersTheGivenCode_data();
    void answersTheGivenCode();
    void keepsTheNewestUploads();
    void answersWithTheGivenStatus_data();
    void answersWithTheGivenStatus();
    void answersWithoutABodyWhereNoneMayBe_data();
    void answersWithoutABodyWhereNoneMayBe();
    void waitsBeforeEachAnswer();
};

void TestLogServiceOptions::explainsItself()
{
    LogServiceProcess service;
    QCOMPARE(service.run({QStringLiteral("--help")}), 0);
    const QByteArray text = service.requestLines();
    for (const char *part : {"--port", "8700", "--report-port", "21999", "--no-report", "--dir", "--code", "--keep",
                             "--status", "--delay", "Example", "not for production", "http://127.0.0.1:8700/,"})
        QVERIFY2(text.contains(part), part);
    QCOMPARE(service.errorText(), QByteArray());
}

void TestLogServiceOptions::refusesWrongArguments_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("unknown option") << QStringList({QStringLiteral("--nope")});
    QTest::newRow("stray word") << QStringList({QStringLiteral("start")});
    QTest::newRow("empty word") << QStringList({QString()});
    for (const QString &option : {kPort, kReportPort, kCode, kKeep, kStatus, kDelay}) {
        const QByteArray name = option.toLatin1();
        QTest::newRow(name + " without value") << QStringList({option});
        QTest::newRow(name + " empty") << QStringList({option, QString()});
        QTest::newRow(name + " word") << QStringList({option, QStringLiteral("x")});
        QTest::newRow(name + " number and word") << QStringList({option, QStringLiteral("1x")});
        QTest::newRow(name + " fraction") << QStringList({option, QStringLiteral("1.5")});
        QTest::newRow(name + " too large") << QStringList({option, QStringLiteral("2147483648")});
    }
    for (const QString &option : {kPort, kReportPort}) {
        QTest::newRow(option.toLatin1() + " negative") << QStringList({option, QStringLiteral("-1")});
        QTest::newRow(option.toLatin1() + " no port") << QStringList({option, QStringLiteral("65536")});
    }
    QTest::newRow("keep none") << QStringList({kKeep, QStringLiteral("0")});
    for (const char *status : {"-1", "0", "100", "199", "600"})
        QTest::newRow(QByteArray("status ") + status) << QStringList({kStatus, QLatin1String(status)});
    QTest::newRow("delay negative") << QStringList({kDelay, QStringLiteral("-1")});
    QTest::newRow("delay too long") << QStringList({kDelay, QStringLiteral("600001")});
    QTest::newRow("dir without value") << QStringList({kDir});
    QTest::newRow("dir empty") << QStringList({kDir, QString()});
}

void TestLogServiceOptions::refusesWrongArguments()
{
    QFETCH(QStringList, arguments);
    LogServiceProcess service;
    QCOMPARE(service.run(arguments), 2);
    QCOMPARE(service.requestLines(), QByteArray());
    const QByteArray error = service.errorText();
    QVERIFY2(error.startsWith("kxlogservice: "), error.constData());
    QCOMPARE(error.count('\n'), 1);
    QVERIFY(error.endsWith('\n'));
}

void TestLogServiceOptions::saysWhereItListensAndStores()
{
    QTemporaryDir folder;
    LogServiceProcess service;
    QVERIFY(service.start(LogServiceProcess::onFreePorts(folder.path())));
    QCOMPARE(service.readyLine(),
             "kxlogservice: listening on http://127.0.0.1:" + QByteArray::number(service.port()) + " (reports on " +
                 QByteArray::number(service.reportPort()) +
                 "), what arrives is shown on http://127.0.0.1:" + QByteArray::number(service.port()) +
                 "/ and stored below " + QFileInfo(folder.path()).canonicalFilePath().toUtf8() + "\n");
    QCOMPARE(service.stop(), 0);
    QCOMPARE(service.requestLines(), QByteArray());
    QCOMPARE(service.errorText(), QByteArray());
}

void TestLogServiceOptions::listensOnTheGivenPorts()
{
    QTemporaryDir folder;
    LogServiceProcess service;
    QVERIFY(service.start(LogServiceProcess::onFreePorts(folder.path())));
    const quint16 port = service.port();
    const quint16 reportPort = service.reportPort();
    QCOMPARE(service.stop(), 0);

    QVERIFY(
        service.start({kPort, QString::number(port), kReportPort, QString::number(reportPort), kDir, folder.path()}));
    QCOMPARE(service.port(), port);
    QCOMPARE(service.reportPort(), reportPort);
    QCOMPARE(RawClient::ask(port, logRequest()).status, 200);
    QCOMPARE(RawClient::ask(reportPort, post(kReportPath, "application/json", reportDocument())).status, 200);
    QCOMPARE(RawClient::ask(port, post(kReportPath, "application/json", reportDocument())).status, 404);
    QCOMPARE(RawClient::ask(reportPort, logRequest()).status, 404);
}

void TestLogServiceOptions::leavesTheReportPortAlone()
{
    QTemporaryDir folder;
    QTcpServer other;
    QVERIFY(other.listen(QHostAddress(QHostAddress::LocalHost)));
    LogServiceProcess service;
    QVERIFY(
        service.start({kPort, kAny, kReportPort, QString::number(other.serverPort()), kNoReport, kDir, folder.path()}));
    QVERIFY2(service.readyLine().contains(" (no reports), "), service.readyLine().constData());
    QCOMPARE(RawClient::ask(service.port(), logRequest()).status, 200);
}

void TestLogServiceOptions::makesItsFolder()
{
    QTemporaryDir folder;
    const QString inner = folder.filePath(QStringLiteral("a/b c"));
    LogServiceProcess service;
    QVERIFY(service.start(LogServiceProcess::onFreePorts(inner)));
    QCOMPARE(RawClient::ask(service.port(), logRequest()).status, 200);
    QVERIFY(QFile::exists(inner + QStringLiteral("/000001-logfile/file.bin")));
}

void TestLogServiceOptions::keepsUploadsFromOtherUsers()
{
    QTemporaryDir folder;
    const QString inner = folder.filePath(QStringLiteral("uploads"));
    LogServiceProcess service;
    // The service inherits what is usual.
    const auto before = ::umask(0022);
    const bool isStarted = service.start(LogServiceProcess::onFreePorts(inner));
    ::umask(before);
    QVERIFY(isStarted);
    QCOMPARE(RawClient::ask(service.port(), logRequest()).status, 200);
    int files = 0;
    QStringList paths = {inner};
    QDirIterator found(inner, QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (found.hasNext())
        paths << found.next();
    for (const QString &path : paths) {
        struct stat status = {};
        QCOMPARE(::stat(QFile::encodeName(path).constData(), &status), 0);
        const bool isFile = S_ISREG(status.st_mode);
        files += isFile ? 1 : 0;
        QVERIFY2((status.st_mode & 0777U) == (isFile ? 0600U : 0700U), qPrintable(path));
    }
    QCOMPARE(files, 7); // four of the upload, the lock, and the index with its journal
    QCOMPARE(paths.size(), 2 + files);
}

void TestLogServiceOptions::refusesAnUnusableFolder()
{
    QTemporaryFile file;
    QVERIFY(file.open());
    LogServiceProcess service;
    QCOMPARE(service.run(LogServiceProcess::onFreePorts(file.fileName())), 1);
    const QByteArray error = service.errorText();
    QVERIFY2(error.contains(file.fileName().toUtf8()), error.constData());
    QCOMPARE(error.count('\n'), 1);
    QCOMPARE(service.requestLines(), QByteArray());
}

void TestLogServiceOptions::refusesAFolderInUse()
{
    QTemporaryDir folder;
    LogServiceProcess first;
    QVERIFY(first.start(LogServiceProcess::onFreePorts(folder.path())));
    LogServiceProcess second;
    QCOMPARE(second.run(LogServiceProcess::onFreePorts(folder.path())), 1);
    QVERIFY(second.errorText().contains("another kxlogservice uses the folder"));
}

void TestLogServiceOptions::refusesATakenPort_data()
{
    QTest::addColumn<bool>("isReportPort");
    QTest::newRow("main port") << false;
    QTest::newRow("report port") << true;
}

void TestLogServiceOptions::refusesATakenPort()
{
    QFETCH(bool, isReportPort);
    QTemporaryDir folder;
    LogServiceProcess first;
    QVERIFY(first.start(LogServiceProcess::onFreePorts(folder.filePath(QStringLiteral("first")))));

    const QString taken = QString::number(isReportPort ? first.reportPort() : first.port());
    LogServiceProcess second;
    QCOMPARE(second.run({kPort, isReportPort ? kAny : taken, kReportPort, isReportPort ? taken : kAny, kDir,
                         folder.filePath(QStringLiteral("second"))}),
             1);
    const QByteArray error = second.errorText();
    QVERIFY2(error.contains("cannot listen on port " + taken.toLatin1()), error.constData());
    QCOMPARE(error.count('\n'), 1);
    QCOMPARE(second.requestLines(), QByteArray());
    QCOMPARE(RawClient::ask(first.port(), logRequest()).status, 200);
}

void TestLogServiceOptions::takesItsPortsAgainRightAfterAnEnd()
{
    QTemporaryDir folder;
    LogServiceProcess service;
    QVERIFY(service.start(LogServiceProcess::onFreePorts(folder.path())));
    const QStringList arguments = {kPort,       QString::number(service.port()),
                                   kReportPort, QString::number(service.reportPort()),
                                   kDir,        folder.path()};
    for (int i = 0; i < 3; ++i) {
        // The side that ends a connection first keeps its port waiting: here the service.
        RawClient client(service.port());
        QVERIFY(client.send(post(kLogFilePath, formType(), logForm("a.log", "bytes"), "Connection: close\r\n")));
        QCOMPARE(client.receiveAnswer().status, 200);
        QVERIFY(client.receiveEnd() != RawClient::End::Open);
        QCOMPARE(service.stop(), 0);
        QVERIFY2(service.start(arguments), service.errorText().constData());
    }
}

void TestLogServiceOptions::answersTheGivenCode_data()
{
    QTest::addColumn<QString>("code");
    QTest::newRow("positive") << QStringLiteral("7");
    QTest::newRow("negative") << QStringLiteral("-3");
    QTest::newRow("largest") << QStringLiteral("2147483647");
}

void TestLogServiceOptions::answersTheGivenCode()
{
    QFETCH(QString, code);
    QTemporaryDir folder;
    LogServiceProcess service;
    QVERIFY(service.start(LogServiceProcess::onFreePorts(folder.path()) + QStringList({kCode, code})));
    const QByteArray expected = "{\"Code\":" + code.toLatin1() + "}";
    for (const RawAnswer &answer :
         {RawClient::ask(service.port(), logRequest()),
          RawClient::ask(service.reportPort(), post(kReportPath, "application/json", reportDocument()))}) {
        QCOMPARE(answer.status, 200);
        QCOMPARE(answer.body, expected);
    }
    QVERIFY(QFile::exists(folder.filePath(QStringLiteral("000002-report"))));
    QVERIFY(service.waitForRequestLine("answered " + expected));
}

void TestLogServiceOptions::keepsTheNewestUploads()
{
    QTemporaryDir folder;
    LogServiceProcess service;
    QVERIFY(service.start(LogServiceProcess::onFreePorts(folder.path()) << kKeep << QStringLiteral("2")));
    for (int i = 0; i < 3; ++i)
        QCOMPARE(RawClient::ask(service.port(), logRequest()).status, 200);
    QCOMPARE(QDir(folder.path()).entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name),
             (QStringList{QStringLiteral("000002-logfile"), QStringLiteral("000003-logfile")}));
}

void TestLogServiceOptions::answersWithTheGivenStatus_data()
{
    QTest::addColumn<int>("status");
    QTest::newRow("created") << 201;
    QTest::newRow("redirect") << 302;
    QTest::newRow("not found") << 404;
    QTest::newRow("too large") << 413;
    QTest::newRow("overloaded") << 503;
}

void TestLogServiceOptions::answersWithTheGivenStatus()
{
    QFETCH(int, status);
    QTemporaryDir folder;
    LogServiceProcess service;
    QVERIFY(service.start(LogServiceProcess::onFreePorts(folder.path()) +
                          QStringList({kStatus, QString::number(status), kCode, QStringLiteral("3")})));
    for (const RawAnswer &answer :
         {RawClient::ask(service.port(), logRequest()),
          RawClient::ask(service.reportPort(), post(kReportPath, "application/json", reportDocument()))}) {
        QCOMPARE(answer.status, status);
        QCOMPARE(answer.body, QByteArray("{\"Code\":3}"));
    }
    QVERIFY(QFile::exists(folder.filePath(QStringLiteral("000002-report"))));
    QVERIFY(service.waitForRequestLine(" answered " + QByteArray::number(status) +
                                       " {\"Code\":3}, stored as 000002-report\n"));
    // What is wrong stays wrong.
    QCOMPARE(RawClient::ask(service.port(), post(kLogFilePath, formType(), "x")).status, 400);
}

void TestLogServiceOptions::answersWithoutABodyWhereNoneMayBe_data()
{
    QTest::addColumn<int>("status");
    QTest::newRow("no content") << 204;
    QTest::newRow("not modified") << 304;
}

void TestLogServiceOptions::answersWithoutABodyWhereNoneMayBe()
{
    QFETCH(int, status);
    QTemporaryDir folder;
    LogServiceProcess service;
    QVERIFY(
        service.start(LogServiceProcess::onFreePorts(folder.path()) + QStringList({kStatus, QString::number(status)})));
    RawClient client(service.port());
    QVERIFY(client.send(logRequest() + logRequest()));
    for (int i = 0; i < 2; ++i) {
        const QByteArray head = client.receiveHead();
        QVERIFY2(head.startsWith("HTTP/1.1 " + QByteArray::number(status)), head.constData());
    }
    QVERIFY(QFile::exists(folder.filePath(QStringLiteral("000002-logfile"))));
}

void TestLogServiceOptions::waitsBeforeEachAnswer()
{
    constexpr int kDelayMs = 700;
    QTemporaryDir folder;
    LogServiceProcess service;
    QVERIFY(service.start(LogServiceProcess::onFreePorts(folder.path()) +
                          QStringList({kDelay, QString::number(kDelayMs)})));
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(RawClient::ask(service.port(), logRequest()).status, 200);
    QVERIFY2(timer.restart() >= kDelayMs, "an upload");
    QCOMPARE(RawClient::ask(service.port(), post(kLogFilePath, formType(), "x")).status, 400);
    QVERIFY2(timer.restart() >= kDelayMs, "a refused upload");

    // Clients wait beside each other.
    std::vector<std::unique_ptr<RawClient>> clients;
    for (int i = 0; i < 20; ++i) {
        clients.push_back(std::make_unique<RawClient>(service.port()));
        QVERIFY(clients.back()->send(logRequest()));
    }
    for (auto &client : clients)
        QCOMPARE(client->receiveAnswer().status, 200);
    QVERIFY2(timer.elapsed() < 10 * kDelayMs, QByteArray::number(timer.elapsed()).constData());
}

QTEST_GUILESS_MAIN(TestLogServiceOptions)
#include "tst_logserviceoptions.moc"
