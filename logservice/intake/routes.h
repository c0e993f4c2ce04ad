#pragma once

#include "http/requestlog.h"
#include "intake/endpoints.h"
#include "store/uploadstore.h"

#include <chrono>

/// What the routes need; the references have to outlive the server.
struct RouteContext
{
    int code = 0;                       ///< answered as "Code" to what is accepted
    int status = 200;                   ///< HTTP status of these answers
    std::chrono::milliseconds delay{0}; ///< waited before each answer to an upload or report
    UploadStore &store;
    RequestLog &log;
};

/// Sets up \a server for the endpoints of \a port and for the refusal of everything else.
void addRoutes(httplib::Server &server, Port port, const RouteContext &context);
