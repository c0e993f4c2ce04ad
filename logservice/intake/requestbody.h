#pragma once

#include "http/multipartreader.h"
#include "intake/endpoints.h"
#include "store/uploadstore.h"

#include <memory>
#include <optional>

/// The body of one request, checked and stored as it arrives: exactly the parts of its endpoint, in their order.
///
/// Everything throws Refusal for what the endpoint does not take and StoreError when the disk fails; the body must not
/// be used any more then. Destroyed before finish(), it leaves nothing stored.
class RequestBody : private PartSink
{
public:
    /// \a contentType is the request's header. All but that have to outlive the body; the record is filled
    /// in as the parts come.
    RequestBody(const Endpoint &endpoint, const std::string &contentType, UploadStore &store, UploadRecord &record);

    void feed(std::string_view bytes);

    /// To be called behind the last byte. Returns the name under which the upload is stored (Upload::finish()).
    std::string finish();

private:
    void beginPart(const PartHeader &header) override;
    void partData(std::string_view bytes) override;
    void endPart() override;

    const Part &part() const { return endpoint_.parts[partIndex_]; }
    std::string partText() const;
    void checkName(const std::string &name) const;
    nlohmann::json value() const;

    const Endpoint &endpoint_;
    UploadStore &store_;
    UploadRecord &record_;
    std::optional<MultipartReader> form_; ///< absent: the body is the part
    std::unique_ptr<Upload> upload_;
    std::size_t partIndex_ = 0; ///< of the part that comes, or has to come next
    std::string text_;          ///< of the part that comes, unless it is a file
};
