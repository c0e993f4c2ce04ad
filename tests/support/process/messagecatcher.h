#pragma once

#include <QByteArray>
#include <QList>
#include <QMutex>
#include <QString>
#include <QStringList>

/// One message that went through Qt's message handler; the context is copied.
struct CaughtMessage
{
    QtMsgType type;
    QByteArray file; ///< null when the context had none, like the next two
    int line;
    QByteArray function;
    QByteArray category;
    QString text;
};

/// Takes all messages of the process, of every thread, instead of the handler that was installed before, which is back
/// when the catcher's scope ends. Catchers may nest; the innermost one takes the messages.
class MessageCatcher
{
public:
    MessageCatcher();
    ~MessageCatcher();
    MessageCatcher(const MessageCatcher &) = delete;
    MessageCatcher &operator=(const MessageCatcher &) = delete;

    QList<CaughtMessage> messages() const;
    /// Their texts only.
    QStringList texts() const;
    /// Whether the text of any message contains \a text.
    bool contains(const QString &text) const;

private:
    static void handle(QtMsgType type, const QMessageLogContext &context, const QString &text);

    QList<CaughtMessage> messages_;
    MessageCatcher *const outer_;
    const QtMessageHandler before_;
};
