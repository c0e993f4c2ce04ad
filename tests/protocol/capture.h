#pragma once

#include "examplepage.h"

#include <QStringList>

/// Whether the crash dump's request can be captured on this system: for that an open has to fail.
bool canCaptureCrash();

/// The requests of the tool and of the logging module, as docs/protocol.md shows them.
struct Captures
{
    QList<Example> examples; ///< without "crash" unless canCaptureCrash()
    QStringList problems;    ///< what kept a request from being captured
};

/// Runs the built tool, and a client for what no run of the tool sends, in throw-away installations against a scripted
/// server. Listens on the ports of this build's services and on 21999.
Captures captureRequests();
