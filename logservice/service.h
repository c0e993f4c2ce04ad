#pragma once

#include "options.h"

/// Runs the service until the process gets SIGINT or SIGTERM. Returns the exit status, 0 after such a signal.
///
/// Throws std::runtime_error when a port or the folder cannot be used. To be called before the process has threads.
int runService(const Options &options);
