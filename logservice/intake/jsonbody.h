#pragma once

#include "intake/endpoints.h"
#include "intake/requestbody.h"
#include "store/uploadstore.h"

/// A body that is one JSON object, stored as it was sent.
class JsonBody : public RequestBody
{
public:
    /// The arguments have to outlive the body.
    JsonBody(const Endpoint &endpoint, UploadStore &store, UploadRecord &record);

    void feed(std::string_view bytes) override;
    std::string finish() override;

private:
    const Endpoint &endpoint_;
    UploadStore &store_;
    UploadRecord &record_;
    std::string text_;
};
