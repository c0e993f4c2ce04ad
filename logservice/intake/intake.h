#pragma once

#include "http/refusal.h"
#include "intake/endpoints.h"
#include "store/uploadstore.h"

#include <httplib.h>

#include <optional>
#include <string>

/// What became of one request.
struct Intake
{
    UploadRecord record;
    std::optional<Refusal> refusal; ///< absent: accepted
    std::string storedAs;           ///< name of the upload's folder; empty when it was refused
};

/// Reads one request to its end, whether it is taken or not: a client that still sends may not see its answer.
Intake takeIn(const Endpoint &endpoint, const httplib::Request &request, const httplib::ContentReader &read,
              UploadStore &store);

/// Reads the body of a request to its end and drops it.
void skipBody(const httplib::Request &request, const httplib::ContentReader &read);
