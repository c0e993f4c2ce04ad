#pragma once

#include <QByteArray>

/// \a size bytes of all values in no order, the same ones every time.
inline QByteArray noise(int size)
{
    QByteArray bytes;
    quint32 state = 1;
    while (bytes.size() < size) {
        state = state * 1664525U + 1013904223U;
        bytes += static_cast<char>(state >> 24U);
    }
    return bytes;
}
