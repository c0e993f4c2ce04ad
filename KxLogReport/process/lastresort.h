#pragma once

/// Has the system end the process with status 0 after \a seconds (Unix only).
///
/// For what the watchdog cannot end, because its timer needs the event loop: a call that blocks, for example on the
/// lock of an INI file whose owner was stopped. Like a kill, this leaves everything on disk as it is.
void endProcessAfter(unsigned seconds);
