#pragma once

#include <QByteArray>
#include <QList>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QPointer>

/// One call of QNetworkAccessManager::post() with bytes.
struct Posted
{
    QNetworkRequest request;
    QByteArray body;
    QObject *managersParent; ///< at the time of the call
    QPointer<QNetworkAccessManager> manager;
    QPointer<QNetworkReply> reply;
};

/// Sees what a program that links the spy posts, which is sent all the same. One at a time.
class PostSpy
{
public:
    PostSpy();
    ~PostSpy();
    PostSpy(const PostSpy &) = delete;
    PostSpy &operator=(const PostSpy &) = delete;

    QList<Posted> posted;
    /// Makes the reply, a child of the manager, in place of the network, if set.
    std::function<QNetworkReply *(QNetworkAccessManager *)> replyInstead;
};
