#include "servicetest.h"
#include "support/server/rawclient.h"
#include "support/wire/endpoints.h"
#include "support/wire/multipartform.h"

#include <QtTest/QtTest>

RawAnswer ServiceTest::upload(const QByteArray &fileName, const QByteArray &body)
{
    return RawClient::ask(service_->port(), ::post(kLogFilePath, formType(), logForm(fileName, body)));
}

void ServiceTest::init()
{
    folder_.reset(new QTemporaryDir);
    service_.reset(new LogServiceProcess);
    QVERIFY(service_->start(LogServiceProcess::onFreePorts(folder_->path())));
}

void ServiceTest::cleanup()
{
    const int status = service_->stop();
    const QByteArray errors = service_->errorText();
    service_.reset();
    folder_.reset();
    QCOMPARE(errors, QByteArray());
    QCOMPARE(status, 0);
}
