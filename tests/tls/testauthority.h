#pragma once

#include "support/server/tlsidentity.h"

#include <QString>
#include <QTemporaryDir>

/// A certificate authority that nobody trusts, made by the openssl program for the life of the object.
class TestAuthority
{
public:
    TestAuthority();

    /// False without the openssl program or TLS in this Qt: QSKIP("...").
    bool isValid() const { return valid_; }

    /// A certificate of this authority, valid from \a fromDay to \a untilDay, counted from now. \a subject is who it is
    /// for: "IP:127.0.0.1" or "DNS:example.org". Null members when openssl fails.
    TlsIdentity issue(const QString &subject, int fromDay = -1, int untilDay = 1);
    /// Like issue(), signed by itself and not by the authority.
    TlsIdentity issueSelfSigned(const QString &subject);

    /// A folder with the authority's certificate, in the form in which systems keep those that they trust.
    QString trustFolder() const { return folder_.filePath(QStringLiteral("trusted")); }

private:
    bool createAuthority();
    bool writeRequest(const QString &name, const QString &subject) const;
    TlsIdentity identity(const QString &name) const;
    bool openssl(const QStringList &arguments, QByteArray *output = nullptr) const;

    QTemporaryDir folder_;
    bool valid_ = false;
    int issued_ = 0;
};
