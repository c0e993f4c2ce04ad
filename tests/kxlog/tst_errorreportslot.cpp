#include "kxlog/kxlog.h"
#include "postspy.h"
#include "support/process/messagecatcher.h"

#include <QCoreApplication>
#include <QTest>

/// What happens to an error report that is answered before its manager goes, which is with the call.
class TestErrorReportSlot : public QObject
{
    Q_OBJECT

private slots:
    void releasesAReplyThatFinishesInTime();
};

namespace {

/// A reply that is answered in the last moment in which it is one.
class LateReply : public QNetworkReply
{
public:
    LateReply(QObject *parent, bool &isReleased) : QNetworkReply(parent), isReleased_(isReleased) {}
    ~LateReply() override
    {
        emit finished();
        QCoreApplication::sendPostedEvents(this, QEvent::DeferredDelete);
    }

    void abort() override {}

protected:
    qint64 readData(char *, qint64) override { return -1; }
    bool event(QEvent *event) override
    {
        isReleased_ = isReleased_ || event->type() == QEvent::DeferredDelete;
        return true;
    }

private:
    bool &isReleased_;
};

} // namespace

void TestErrorReportSlot::releasesAReplyThatFinishesInTime()
{
    const MessageCatcher quiet;
    PostSpy spy;
    bool isReleased = false;
    spy.replyInstead = [&isReleased](QNetworkAccessManager *manager) { return new LateReply(manager, isReleased); };
    KxLog log;
    log.logError(QStringLiteral("room"), QStringLiteral("user"), 1, QStringLiteral("message"), 1);
    QVERIFY(isReleased);
    QCOMPARE(quiet.messages().size(), 0);
}

QTEST_GUILESS_MAIN(TestErrorReportSlot)
#include "tst_errorreportslot.moc"
