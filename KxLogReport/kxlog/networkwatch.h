#pragma once

/// Has the network watched from now to the end of the process, which makes network managers cheaper. For the thread
/// that makes the managers.
void keepNetworkWatched();
