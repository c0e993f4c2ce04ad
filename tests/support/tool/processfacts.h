#pragma once

#include <QtGlobal>

/// What the system tells about a running process. Only Linux does: if (!knowsProcesses()) QSKIP("...").
bool knowsProcesses();

/// Number of open descriptors.
int descriptorCount(qint64 process);
int threadCount(qint64 process);
/// The most memory that the process has had so far, in KiB; -1 when the system does not tell.
qint64 peakMemoryKiB(qint64 process);
