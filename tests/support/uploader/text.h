#pragma once

#include <QString>

/// The UTF-8 text \a utf8.
inline QString text(const char *utf8)
{
    return QString::fromUtf8(utf8);
}
