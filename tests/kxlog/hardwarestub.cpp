#include "hardwarestub.h"

#include "sysinfo/kxsysinfo.h"

namespace {

QByteArray g_hardware;

} // namespace

void setHardware(const QByteArray &json)
{
    g_hardware = json;
}

QString KxSysInfo::getSysVersion()
{
    return QStringLiteral("stub");
}

QByteArray KxSysInfo::getHardWareJsonData()
{
    return g_hardware;
}
