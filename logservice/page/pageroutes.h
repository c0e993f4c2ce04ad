#pragma once

#include "intake/routecontext.h"

/// Sets up \a server for looking at what has arrived: the page /, its /style.css, and what was sent below /uploads.
/// They answer requests to this machine's own names only.
void addPageRoutes(httplib::Server &server, const RouteContext &context);
