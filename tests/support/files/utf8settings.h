#pragma once

#include <QSettings>

/// Has \a settings read and write their file in UTF-8, as a client does: those of Qt 6 do so by themselves.
inline void useUtf8AsClientsDo(QSettings &settings)
{
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    settings.setIniCodec("UTF-8");
#else
    Q_UNUSED(settings)
#endif
}
