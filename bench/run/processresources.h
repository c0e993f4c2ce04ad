#pragma once

#include <sys/types.h>

/// What a running process holds.
struct ProcessResources
{
    int threads = 0;
    int descriptors = 0;
};

/// Whether this system tells what another process holds (/proc).
bool canCountResources();

/// Throws std::runtime_error when the process is gone.
ProcessResources countResources(pid_t pid);
