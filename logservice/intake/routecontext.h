#pragma once

#include "http/requestlog.h"
#include "store/uploadstore.h"

/// What the routes need; the references have to outlive the server.
struct RouteContext
{
    int code = 0; ///< answered as "Code"
    UploadStore &store;
    RequestLog &log;
};
