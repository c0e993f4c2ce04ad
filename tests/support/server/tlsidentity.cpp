#include "support/server/tlsidentity.h"

#include "support/files/fileio.h"

#include <QProcess>
#include <QSslSocket>
#include <QTemporaryDir>

namespace {

const char kRequest[] = "[req]\n"
                        "distinguished_name = name\n"
                        "x509_extensions = extensions\n"
                        "prompt = no\n"
                        "[name]\n"
                        "CN = 127.0.0.1\n"
                        "[extensions]\n"
                        "subjectAltName = IP:127.0.0.1\n";

} // namespace

TlsIdentity TlsIdentity::create()
{
    const QTemporaryDir directory;
    const QString requestPath = directory.filePath(QStringLiteral("request.cnf"));
    const QString keyPath = directory.filePath(QStringLiteral("key.pem"));
    const QString certificatePath = directory.filePath(QStringLiteral("certificate.pem"));
    if (!QSslSocket::supportsSsl() || !writeFile(requestPath, kRequest))
        return TlsIdentity();

    const QStringList arguments{QStringLiteral("req"),
                                QStringLiteral("-x509"),
                                QStringLiteral("-nodes"),
                                QStringLiteral("-days"),
                                QStringLiteral("2"),
                                QStringLiteral("-newkey"),
                                QStringLiteral("rsa:2048"),
                                QStringLiteral("-config"),
                                requestPath,
                                QStringLiteral("-keyout"),
                                keyPath,
                                QStringLiteral("-out"),
                                certificatePath};
    QProcess openssl;
    openssl.start(QStringLiteral("openssl"), arguments);
    if (!openssl.waitForFinished() || openssl.exitCode() != 0)
        return TlsIdentity();
    return TlsIdentity{QSslCertificate(readFile(certificatePath)), QSslKey(readFile(keyPath), QSsl::Rsa)};
}
