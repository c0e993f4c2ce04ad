#pragma once

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QString>
#include <QVariant>

/// Texts about the machine for the remote log report: the operating system and the hardware.
///
/// The hardware probes are empty on purpose: reports carry the skeleton of a hardware description and nothing that
/// could identify a user's machine.
class KxSysInfo
{
public:
    KxSysInfo() = default;
    ~KxSysInfo() = default;

    /// Operating-system text: "mac10.7" to "mac10.10", else "mac", on every other system too.
    static QString getSysVersion();

    /// Processor description; always empty.
    static QString getCpuInfo();
    /// Network interfaces; always empty.
    static QList<QVariant> getNetInfo();
    /// Disks; always empty, and no member of the hardware description.
    static QList<QVariant> getDiskInfo();
    /// Memory description; always empty.
    static QMap<QString, QVariant> getMemoryInfo();

    /// The hardware description: a map of "cpu" (text), "net" (list) and "mem" (map).
    static QVariant getHardWareVariant();
    /// The hardware description as compact JSON, members sorted by key.
    static QByteArray getHardWareJsonData();

    /// Always false.
    static bool isOs64();
};

/// Operating-system text of a value of QSysInfo::macVersion(): 9 to 12 are "mac10.7" to "mac10.10", every other value,
/// newer systems included, is "mac".
QString macVersionText(int macVersion);

/// Size text of @p bytes: one decimal and "B" below 1024, two decimals and "KB", "MB", "GB" or "TB" from there on.
///
/// The figure in front of "TB" is in mebibytes: 2^40 bytes are "1048576.00TB".
QString bytes_to_human(unsigned long long bytes);
