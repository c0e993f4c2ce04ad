#include "support/tool/ownmounts.h"
#include "support/tool/toolsetup.h"
#include "support/wire/arrivals.h"
#include "testauthority.h"

#include <QFile>
#include <QFileInfo>
#include <QSslError>
#include <QSslSocket>
#include <QTest>

#include <memory>

namespace {

/// Where the system keeps the certificates that it trusts. Nothing redirects the tool, so the test puts its own there.
const QString kTrusted = QStringLiteral("/etc/ssl/certs");
const QString kHost = QStringLiteral("IP:127.0.0.1");
bool ownMounts = false;

ScriptedServer::Config serving(quint16 port, const TlsIdentity &identity)
{
    ScriptedServer::Config config;
    config.port = port;
    config.certificate = identity.certificate;
    config.key = identity.key;
    return config;
}

/// What this process, which trusts as the tool does, has against the certificate of the service at \a port.
QList<QSslError::SslError> faultsOf(quint16 port)
{
    QList<QSslError::SslError> faults;
    QSslSocket socket;
    const auto take = [&](const QList<QSslError> &errors) {
        for (const QSslError &error : errors)
            faults.append(error.error());
    };
    QObject::connect(&socket, QOverload<const QList<QSslError> &>::of(&QSslSocket::sslErrors), take);
    socket.connectToHostEncrypted(QStringLiteral("127.0.0.1"), port);
    socket.waitForEncrypted();
    return faults;
}

} // namespace

Q_DECLARE_METATYPE(TlsIdentity)
Q_DECLARE_METATYPE(QSslError::SslError)

/// A tool that was built for https addresses, and services with good and bad certificates.
class TestTls : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        if (!authority_.isValid())
            QSKIP("needs TLS in Qt and the openssl program");
        if (ownMounts && QFileInfo(kTrusted).isDir())
            trust_ = std::make_unique<Mount>(Mount::showing(authority_.trustFolder(), kTrusted));
    }

    void init()
    {
        sandbox_ = std::make_unique<Sandbox>(QStringLiteral(KX_TOOL_TLS));
        QVERIFY(addUser(*sandbox_));
        QVERIFY(!addLog(*sandbox_, QStringLiteral("a"), "an ordinary log").isEmpty());
        sdkLog_ = addLog(*sandbox_, QStringLiteral("b"), "a log of the SDK", 1);
        QVERIFY(!sdkLog_.isEmpty());
    }

    void sendsNotOneByteToAServiceThatIsNotTrusted_data()
    {
        QTest::addColumn<TlsIdentity>("identity");
        QTest::addColumn<bool>("needsTrust"); ///< all but the one fault is in order only if the authority is trusted
        QTest::addColumn<QSslError::SslError>("fault");
        using Fault = QSslError;
        TestAuthority other;
        QTest::newRow("other authority") << other.issue(kHost) << false << Fault::UnableToGetLocalIssuerCertificate;
        QTest::newRow("signed by itself") << authority_.issueSelfSigned(kHost) << false << Fault::SelfSignedCertificate;
        QTest::newRow("expired") << authority_.issue(kHost, -10, -1) << true << Fault::CertificateExpired;
        QTest::newRow("not yet valid") << authority_.issue(kHost, 1, 10) << true << Fault::CertificateNotYetValid;
        QTest::newRow("other host") << authority_.issue(QStringLiteral("DNS:example.org")) << true
                                    << Fault::HostNameMismatch;
        QTest::newRow("other address") << authority_.issue(QStringLiteral("IP:127.0.0.2")) << true
                                       << Fault::HostNameMismatch;
    }
    void sendsNotOneByteToAServiceThatIsNotTrusted()
    {
        QFETCH(const TlsIdentity, identity);
        QFETCH(const bool, needsTrust);
        QFETCH(const QSslError::SslError, fault);
        QVERIFY(identity.isValid());
        if (needsTrust && !isTrusted())
            QSKIP("needs to be allowed to mount");
        const ScriptedServer logService(serving(KX_TLS_LOG_PORT, identity));
        const ScriptedServer producer(serving(KX_TLS_PRODUCER_PORT, identity));
        QVERIFY(logService.isListening() && producer.isListening());
        const QList<QSslError::SslError> faults = faultsOf(logService.port());
        QVERIFY2(faults.contains(fault), qPrintable(QStringLiteral("%1 faults").arg(faults.size())));
        QVERIFY(!needsTrust || faults.size() == 1);
        const int connections = logService.connections();
        const QByteArray ini = sandbox_->iniBytes();

        const ToolResult result = sandbox_->runTool({});
        QVERIFY2(result.isSuccess(), result.describe());
        QVERIFY2(result.elapsedMs < kPromptMs, result.describe());
        QCOMPARE(result.standardError.count("QNetworkReply::SslHandshakeFailedError"), 2);
        QVERIFY(logService.connections() >= connections + 2 && producer.connections() >= 1);
        // A server that was sent one byte would show a request, be it broken.
        QCOMPARE(logService.requests().size() + producer.requests().size(), 0);
        QCOMPARE(sandbox_->iniBytes(), ini);
        QVERIFY(QFile::exists(sdkLog_));
    }

    void sendsEverythingToTrustedServices()
    {
        if (!isTrusted())
            QSKIP("needs to be allowed to mount");
        const TlsIdentity identity = authority_.issue(kHost);
        QVERIFY(identity.isValid());
        const ScriptedServer logService(serving(KX_TLS_LOG_PORT, identity));
        const ScriptedServer producer(serving(KX_TLS_PRODUCER_PORT, identity));
        QVERIFY(logService.isListening() && producer.isListening());
        const ToolResult result = sandbox_->runTool({});
        QVERIFY2(result.isSuccess(), result.describe());
        QCOMPARE(arrivedNames(logService), (QStringList{QStringLiteral("a.log"), QStringLiteral("own log")}));
        QCOMPARE(arrivedNames(producer), QStringList{QStringLiteral("b.log")});
        QCOMPARE(arrivals(producer).first().bytes, QByteArray("a log of the SDK"));
        QCOMPARE(sandbox_->groups(), QStringList{QStringLiteral("system")});
        QVERIFY(!QFile::exists(sdkLog_));
    }

    void sendsTheRestWhenOnlyTheProducerIsNotTrusted()
    {
        if (!isTrusted())
            QSKIP("needs to be allowed to mount");
        const ScriptedServer logService(serving(KX_TLS_LOG_PORT, authority_.issue(kHost)));
        const ScriptedServer producer(serving(KX_TLS_PRODUCER_PORT, authority_.issue(kHost, -10, -1)));
        QVERIFY(logService.isListening() && producer.isListening());
        const ToolResult result = sandbox_->runTool({});
        QVERIFY2(result.isSuccess(), result.describe());
        QCOMPARE(arrivedNames(logService), (QStringList{QStringLiteral("a.log"), QStringLiteral("own log")}));
        QVERIFY(producer.connections() >= 1);
        QVERIFY(producer.requests().isEmpty());
        QCOMPARE(sandbox_->groups(), (QStringList{QStringLiteral("b"), QStringLiteral("system")}));
        QVERIFY(QFile::exists(sdkLog_));
    }

private:
    bool isTrusted() const { return trust_ != nullptr && trust_->isValid(); }

    TestAuthority authority_;
    std::unique_ptr<Mount> trust_;
    std::unique_ptr<Sandbox> sandbox_;
    QString sdkLog_;
};

int main(int argc, char *argv[])
{
    ownMounts = enterOwnMounts();
    QCoreApplication application(argc, argv);
    TestTls test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_tls.moc"
