#include "ini/inforecord.h"

#include "ini/inicodec.h"

#include <QDateTime>
#include <QSettings>
#include <QStandardPaths>

void recordAcceptedInfo(const QString &userId)
{
    QSettings record(QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation) + QStringLiteral("/info.ini"),
                     QSettings::IniFormat);
    useUtf8(record);
    record.beginGroup(userId);
    record.setValue(QStringLiteral("time"),
                    QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd-hh-mm-ss")));
    record.endGroup();
}
