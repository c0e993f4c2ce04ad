#pragma once

#include "endpoints.h"
#include "requestlog.h"
#include "uploadstore.h"

/// What the routes need; everything has to outlive the server.
struct RouteContext
{
    int code = 0; ///< answered as "Code"
    UploadStore &store;
    RequestLog &log;
};

/// Sets up \a server for the endpoints of \a port and for the refusal of everything else.
void addRoutes(httplib::Server &server, Port port, const RouteContext &context);
