#pragma once

#include <QSslCertificate>
#include <QSslKey>

/// A fresh self-signed certificate for 127.0.0.1 with its key, made by the openssl program.
struct TlsIdentity
{
    QSslCertificate certificate;
    QSslKey key;

    /// Null members when there is no openssl or this Qt has no TLS: if (!identity.isValid()) QSKIP("...");
    static TlsIdentity create();
    bool isValid() const { return !certificate.isNull() && !key.isNull(); }
};
