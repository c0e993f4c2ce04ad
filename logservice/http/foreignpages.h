#pragma once

#include <httplib.h>

// The service listens on loopback only, but a browser there may have pages of any site open, and sends what they ask
// it to.

/// Throws Refusal unless the only Host of \a request is 127.0.0.1, localhost or [::1], with or without a port.
///
/// A site whose name leads to this machine is read by its own pages like any answer of that site; its requests have
/// that name.
void refuseForeignHost(const httplib::Request &request);

/// Throws Refusal if \a request has an Origin, which browsers give to everything that a page makes them POST.
void refusePagePost(const httplib::Request &request);
