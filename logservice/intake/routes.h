#pragma once

#include "intake/endpoints.h"
#include "intake/routecontext.h"

/// Sets up \a server for the endpoints of \a port and for the refusal of everything else.
void addRoutes(httplib::Server &server, Port port, const RouteContext &context);
