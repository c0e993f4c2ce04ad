#include "support/process/messagecatcher.h"

#include <algorithm>
#include <utility>

namespace {

MessageCatcher *innermost = nullptr;

/// Guards the chain of catchers and what they caught: messages come from any thread.
QMutex &guard()
{
    static QMutex mutex;
    return mutex;
}

MessageCatcher *push(MessageCatcher *catcher)
{
    QMutexLocker locker(&guard());
    return std::exchange(innermost, catcher);
}

} // namespace

MessageCatcher::MessageCatcher() : outer_(push(this)), before_(qInstallMessageHandler(&MessageCatcher::handle)) {}

MessageCatcher::~MessageCatcher()
{
    qInstallMessageHandler(before_);
    push(outer_);
}

void MessageCatcher::handle(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    QMutexLocker locker(&guard());
    if (innermost)
        innermost->messages_.append({type, context.file, context.line, context.function, context.category, text});
}

QList<CaughtMessage> MessageCatcher::messages() const
{
    QMutexLocker locker(&guard());
    return messages_;
}

QStringList MessageCatcher::texts() const
{
    QStringList texts;
    for (const CaughtMessage &message : messages())
        texts.append(message.text);
    return texts;
}

bool MessageCatcher::contains(const QString &text) const
{
    const QStringList all = texts();
    return std::any_of(all.begin(), all.end(), [&](const QString &one) { return one.contains(text); });
}
