#pragma once

#include <QByteArray>

/// Sets what KxSysInfo says of the hardware in a program that links the stub in place of the library.
void setHardware(const QByteArray &json);
