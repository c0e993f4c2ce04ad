#include "testauthority.h"

#include "support/files/fileio.h"

#include <QDateTime>
#include <QDir>
#include <QProcess>
#include <QSslSocket>

namespace {

const char kAuthority[] = "[req]\n"
                          "distinguished_name = name\n"
                          "x509_extensions = extensions\n"
                          "prompt = no\n"
                          "[name]\n"
                          "CN = Authority of a test\n"
                          "[extensions]\n"
                          "basicConstraints = critical,CA:true\n"
                          "keyUsage = critical,keyCertSign\n"
                          "subjectKeyIdentifier = hash\n"
                          "[ca]\n"
                          "default_ca = own\n"
                          "[own]\n"
                          "database = index.txt\n"
                          "serial = serial\n"
                          "new_certs_dir = .\n"
                          "default_md = sha256\n"
                          "policy = any\n"
                          "unique_subject = no\n"
                          "[any]\n"
                          "commonName = supplied\n";

const char kRequest[] = "[req]\n"
                        "distinguished_name = name\n"
                        "x509_extensions = extensions\n"
                        "prompt = no\n"
                        "[name]\n"
                        "CN = Service of a test\n"
                        "[extensions]\n"
                        "basicConstraints = CA:false\n"
                        "subjectAltName = ";

QStringList words(const char *text)
{
    return QString::fromLatin1(text).split(QLatin1Char(' '));
}

QString day(int fromNow)
{
    return QDateTime::currentDateTimeUtc().addDays(fromNow).toString(QStringLiteral("yyMMddhhmmss")) + QLatin1Char('Z');
}

} // namespace

TestAuthority::TestAuthority() : valid_(QSslSocket::supportsSsl() && createAuthority()) {}

bool TestAuthority::createAuthority()
{
    const QByteArray noEntries;
    if (!writeFile(folder_.filePath(QStringLiteral("ca.cnf")), kAuthority) ||
        !writeFile(folder_.filePath(QStringLiteral("index.txt")), noEntries) ||
        !writeFile(folder_.filePath(QStringLiteral("serial")), "01\n") || !QDir().mkpath(trustFolder()) ||
        !openssl(words("req -x509 -nodes -days 2 -newkey rsa:2048 -config ca.cnf -keyout ca.key -out ca.pem")))
        return false;
    // Systems find a certificate by the hash of its name.
    QByteArray hash;
    return openssl(words("x509 -noout -hash -in ca.pem"), &hash) &&
           QFile::copy(folder_.filePath(QStringLiteral("ca.pem")),
                       trustFolder() + QLatin1Char('/') + QString::fromLatin1(hash.trimmed()) + QStringLiteral(".0"));
}

TlsIdentity TestAuthority::issue(const QString &subject, int fromDay, int untilDay)
{
    const QString name = QStringLiteral("leaf%1").arg(++issued_);
    const QStringList request{
        QStringLiteral("req"),         QStringLiteral("-new"),       QStringLiteral("-nodes"),
        QStringLiteral("-newkey"),     QStringLiteral("rsa:2048"),   QStringLiteral("-config"),
        name + QStringLiteral(".cnf"), QStringLiteral("-keyout"),    name + QStringLiteral(".key"),
        QStringLiteral("-out"),        name + QStringLiteral(".csr")};
    const QStringList signing =
        words("ca -batch -notext -config ca.cnf -cert ca.pem -keyfile ca.key -extensions extensions") +
        QStringList{QStringLiteral("-extfile"),   name + QStringLiteral(".cnf"),
                    QStringLiteral("-in"),        name + QStringLiteral(".csr"),
                    QStringLiteral("-out"),       name + QStringLiteral(".pem"),
                    QStringLiteral("-startdate"), day(fromDay),
                    QStringLiteral("-enddate"),   day(untilDay)};
    if (!writeRequest(name, subject) || !openssl(request) || !openssl(signing))
        return TlsIdentity();
    return identity(name);
}

TlsIdentity TestAuthority::issueSelfSigned(const QString &subject)
{
    const QString name = QStringLiteral("leaf%1").arg(++issued_);
    const QStringList arguments =
        words("req -x509 -nodes -days 2 -newkey rsa:2048") +
        QStringList{QStringLiteral("-config"),     name + QStringLiteral(".cnf"), QStringLiteral("-keyout"),
                    name + QStringLiteral(".key"), QStringLiteral("-out"),        name + QStringLiteral(".pem")};
    if (!writeRequest(name, subject) || !openssl(arguments))
        return TlsIdentity();
    return identity(name);
}

bool TestAuthority::writeRequest(const QString &name, const QString &subject) const
{
    return writeFile(folder_.filePath(name + QStringLiteral(".cnf")), kRequest + subject.toLatin1() + '\n');
}

TlsIdentity TestAuthority::identity(const QString &name) const
{
    return TlsIdentity{QSslCertificate(readFile(folder_.filePath(name + QStringLiteral(".pem")))),
                       QSslKey(readFile(folder_.filePath(name + QStringLiteral(".key"))), QSsl::Rsa)};
}

bool TestAuthority::openssl(const QStringList &arguments, QByteArray *output) const
{
    QProcess process;
    process.setWorkingDirectory(folder_.path());
    process.start(QStringLiteral("openssl"), arguments);
    if (!process.waitForFinished() || process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0) {
        qWarning("openssl %s: %s", qPrintable(arguments.join(QLatin1Char(' '))),
                 process.readAllStandardError().constData());
        return false;
    }
    if (output != nullptr)
        *output = process.readAllStandardOutput();
    return true;
}
