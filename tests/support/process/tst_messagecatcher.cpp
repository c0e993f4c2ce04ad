#include "support/process/messagecatcher.h"

#include <QTest>
#include <thread>

class TestMessageCatcher : public QObject
{
    Q_OBJECT

private slots:
    void takesTypeContextAndText()
    {
        const MessageCatcher catcher;
        qWarning() << "one" << 2;
        const int line = __LINE__ - 1;
        QCOMPARE(catcher.messages().size(), 1);
        const CaughtMessage message = catcher.messages().first();
        QCOMPARE(message.type, QtWarningMsg);
        QCOMPARE(message.text, QStringLiteral("one 2"));
        QCOMPARE(message.line, line);
        QVERIFY(message.file.endsWith("tst_messagecatcher.cpp"));
        QVERIFY(message.function.contains("takesTypeContextAndText"));
        QCOMPARE(message.category, QByteArray("default"));
    }

    void keepsTheContextBeyondTheMessage()
    {
        const MessageCatcher catcher;
        QByteArray file("gone");
        QMessageLogger(file.constData(), 7, "f").debug("x");
        file.fill('-');
        QCOMPARE(catcher.messages().at(0).file, QByteArray("gone"));
    }

    void keepsNullContextNull()
    {
        const MessageCatcher catcher;
        QMessageLogger().debug("x");
        QVERIFY(catcher.messages().at(0).file.isNull());
        QVERIFY(catcher.messages().at(0).function.isNull());
    }

    void restoresTheHandlerBefore()
    {
        const QtMessageHandler mine = [](QtMsgType, const QMessageLogContext &, const QString &) {};
        const QtMessageHandler before = qInstallMessageHandler(mine);
        {
            const MessageCatcher catcher;
            qInstallMessageHandler(nullptr);
        }
        QVERIFY(qInstallMessageHandler(before) == mine);
    }

    void givesMessagesToTheInnermostOfNestedCatchers()
    {
        const MessageCatcher outer;
        {
            const MessageCatcher inner;
            qDebug("inside");
            QCOMPARE(inner.texts(), QStringList{QStringLiteral("inside")});
        }
        qDebug("outside");
        QCOMPARE(outer.texts(), QStringList{QStringLiteral("outside")});
        QVERIFY(outer.contains(QStringLiteral("tsid")));
        QVERIFY(!outer.contains(QStringLiteral("inside")));
    }

    void takesMessagesOfOtherThreads()
    {
        const MessageCatcher catcher;
        std::thread([] { qDebug("from there"); }).join();
        QCOMPARE(catcher.texts(), QStringList{QStringLiteral("from there")});
    }
};

QTEST_GUILESS_MAIN(TestMessageCatcher)
#include "tst_messagecatcher.moc"
