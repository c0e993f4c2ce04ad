#include "rewritespace.h"

#include <QByteArray>
#include <QFile>
#include <QFileInfo>

namespace {

// Others write to the same disk meanwhile, and the lock of the INI file takes space as well.
constexpr qint64 kSpareBytes = qint64{64} * 1024;

} // namespace

bool hasSpaceToRewrite(const QString &path)
{
    QFile trial(path + QStringLiteral(".space"));
    // Unbuffered: a buffer would take everything.
    if (!trial.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
        return false;
    const QByteArray block(static_cast<int>(kSpareBytes), '\0');
    const qint64 wantedBytes = QFileInfo(path).size() + kSpareBytes;
    bool fits = true;
    for (qint64 bytes = 0; fits && bytes < wantedBytes; bytes += block.size())
        fits = trial.write(block) == block.size();
    trial.close();
    trial.remove();
    return fits;
}
