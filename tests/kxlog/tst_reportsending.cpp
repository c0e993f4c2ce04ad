#include "kxendpoints.h"
#include "openkxlog.h"
#include "reports.h"
#include "support/files/fileio.h"
#include "support/process/messagecatcher.h"
#include "support/server/scriptedserver.h"

#include <QNetworkRequest>
#include <QTemporaryDir>
#include <QTest>

/// When a report is sent, with what and where to.
class TestReportSending : public QObject
{
    Q_OBJECT

private slots:
    void sendsNothingWhileReportingIsOff();
    void sendsNothingForOrdinaryMessages();
    void countsSecondsSinceConstruction();
    void postsBeforeItWritesTheLine();
    void takesAManagerForEachReport();
    void addressesTheReportApi();
    void saysThatRedirectsAreNotFollowed();
};

namespace {

/// Reads the log file at the moment at which the log object gets a manager.
class ReaderAtPost : public QObject
{
public:
    explicit ReaderAtPost(KxLog &log) : log_(log) { log.installEventFilter(this); }

    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->type() == QEvent::ChildAdded)
            bytesAtPost.append(readFile(log_.fileName()));
        return false;
    }

    QList<QByteArray> bytesAtPost;

private:
    KxLog &log_;
};

} // namespace

void TestReportSending::sendsNothingWhileReportingIsOff()
{
    const MessageCatcher quiet;
    const ScriptedServer server(kReportPort);
    QVERIFY2(server.isListening(), qPrintable(server.errorString()));
    QTemporaryDir dir;
    OpenKxLog log;
    log.install_log(dir.path());
    report(log, QStringLiteral("kx_log$$1$$@@2@@"));
    // Without a manager nothing can be on its way.
    QVERIFY(log.findChildren<QNetworkAccessManager *>().isEmpty());
    QCOMPARE(server.connections(), 0);
    QCOMPARE(readFile(log.fileName()),
             QByteArrayLiteral("[time][Level][f][1][g]signal_client   signal_reconnect  count:2\r\n\n"));
}

void TestReportSending::sendsNothingForOrdinaryMessages()
{
    const MessageCatcher quiet;
    QTemporaryDir dir;
    OpenKxLog log;
    log.install_log(dir.path());
    log.startReport();
    report(log, QStringLiteral("$#$1$#$ #$#2#$# $$1$$ @@2@@ \\n"));
    QVERIFY(log.findChildren<QNetworkAccessManager *>().isEmpty());
    QCOMPARE(readFile(log.fileName()),
             QByteArrayLiteral("[time][Level][f][1][g]$#$1$#$ #$#2#$# $$1$$ @@2@@ \\n\r\n\n"));
}

void TestReportSending::countsSecondsSinceConstruction()
{
    const MessageCatcher quiet;
    const ScriptedServer server(kReportPort);
    QVERIFY2(server.isListening(), qPrintable(server.errorString()));
    OpenKxLog log;
    log.startReport();
    // Past the half of a second, where rounding would not give what truncation does.
    QVERIFY(waitFor([&log] { return log.elapsedTimer.elapsed() % 1000 >= 600 && log.elapsedTimer.elapsed() > 1000; }));
    const qint64 from = log.elapsedTimer.elapsed() / 1000;
    report(log, QStringLiteral("kx_log"));
    const qint64 to = log.elapsedTimer.elapsed() / 1000;
    QVERIFY(server.waitForRequests(1));
    QVERIFY(waitForNoManagers(log));

    const QByteArray body = server.requests().constFirst().body;
    const auto says = [&body](qint64 seconds) {
        return body.contains("\"ElapsedTime\": " + QByteArray::number(seconds) + ",");
    };
    QVERIFY(from >= 1);
    QVERIFY2(says(from) || says(to), body.constData());
}

void TestReportSending::postsBeforeItWritesTheLine()
{
    const MessageCatcher quiet;
    const ScriptedServer server(kReportPort);
    QVERIFY2(server.isListening(), qPrintable(server.errorString()));
    QTemporaryDir dir;
    OpenKxLog log;
    log.install_log(dir.path());
    log.startReport();
    const ReaderAtPost reader(log);
    report(log, QStringLiteral("kx_log"));
    QCOMPARE(reader.bytesAtPost, QList<QByteArray>({QByteArrayLiteral("")}));
    QCOMPARE(readFile(log.fileName()), QByteArrayLiteral("[time][Level][f][1][g]kx_client   kx_error  \r\n\n"));
    QVERIFY(waitForNoManagers(log));
}

void TestReportSending::takesAManagerForEachReport()
{
    const MessageCatcher quiet;
    const ScriptedServer server(kReportPort);
    QVERIFY2(server.isListening(), qPrintable(server.errorString()));
    OpenKxLog log;
    log.startReport();
    for (const char *message : {"kx_log 1", "kx_log 2", "kx_log 3"})
        report(log, QLatin1String(message));
    QCOMPARE(log.findChildren<QNetworkAccessManager *>(QString(), Qt::FindDirectChildrenOnly).size(), 3);
    QVERIFY(server.waitForRequests(3));
    QVERIFY(waitForNoManagers(log));
    QCOMPARE(server.distinctBodies().size(), 3);
    QCOMPARE(server.connections(), 3);
}

void TestReportSending::addressesTheReportApi()
{
    OpenKxLog log;
    const QUrl url = log.generateRequest(QStringLiteral(":21999/a b%")).url();
    QVERIFY(url.isValid());
    QCOMPARE(url.toString(QUrl::FullyEncoded),
             QLatin1String(kxendpoints::kReportApiUrl) + QStringLiteral(":21999/a%20b%25"));
}

void TestReportSending::saysThatRedirectsAreNotFollowed()
{
    OpenKxLog log;
    const QVariant manual(static_cast<int>(QNetworkRequest::ManualRedirectPolicy));
    for (const QNetworkRequest &request : {log.generateRequest(QString()), log.generateNewRequest(QString())})
        QCOMPARE(request.attribute(QNetworkRequest::RedirectPolicyAttribute), manual);
}

QTEST_GUILESS_MAIN(TestReportSending)
#include "tst_reportsending.moc"
