#pragma once

#include "http/multipartreader.h"
#include "intake/endpoints.h"
#include "intake/requestbody.h"
#include "store/uploadstore.h"

#include <memory>

/// The form of an endpoint: exactly its parts, in their order.
class FormBody : public RequestBody, private PartSink
{
public:
    /// \a contentType is the request's header. \a endpoint and \a record have to outlive the body; the record is
    /// filled in as the parts come. Throws like feed().
    FormBody(const Endpoint &endpoint, const std::string &contentType, UploadStore &store, UploadRecord &record);

    void feed(std::string_view bytes) override;
    std::string finish() override;

private:
    void beginPart(const PartHeader &header) override;
    void partData(std::string_view bytes) override;
    void endPart() override;

    const Field &field() const { return endpoint_.form[partIndex_]; }
    void checkName(const std::string &name) const;

    const Endpoint &endpoint_;
    UploadRecord &record_;
    MultipartReader reader_;
    std::unique_ptr<Upload> upload_;
    std::size_t partIndex_ = 0; ///< of the part that comes, or has to come next
    std::string text_;          ///< of the text part that comes
};
