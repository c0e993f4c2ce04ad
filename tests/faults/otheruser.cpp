#include "otheruser.h"

#include <QStandardPaths>
#include <unistd.h>

namespace {

const char kUserId[] = "65534";

bool isSuperuser()
{
    return ::geteuid() == 0;
}

QString setpriv()
{
    return QStandardPaths::findExecutable(QStringLiteral("setpriv"));
}

} // namespace

bool OtherUser::isAvailable()
{
    return !isSuperuser() || !setpriv().isEmpty();
}

ToolOptions OtherUser::options()
{
    ToolOptions options;
    if (isSuperuser()) {
        const QString user = QString::fromLatin1(kUserId);
        options.prefix = QStringList{setpriv(), QStringLiteral("--reuid=") + user, QStringLiteral("--regid=") + user,
                                     QStringLiteral("--clear-groups")};
    }
    return options;
}

bool OtherUser::give(const QString &path)
{
    if (!isSuperuser())
        return true;
    const QString owner = QString::fromLatin1(kUserId);
    return QProcess::execute(QStringLiteral("chown"), {QStringLiteral("-R"), owner + QLatin1Char(':') + owner, path}) ==
           0;
}
