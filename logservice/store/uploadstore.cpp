#include "store/uploadstore.h"

namespace {

class DiscardedUpload : public Upload
{
public:
    void beginFile(const std::string & /*name*/) override {}
    void write(std::string_view /*bytes*/) override {}
    void endFile() override {}
    std::string finish(const UploadRecord & /*record*/) override { return {}; }
};

class DiscardingStore : public UploadStore
{
public:
    std::unique_ptr<Upload> begin() override { return std::make_unique<DiscardedUpload>(); }
    void close() noexcept override {}
};

} // namespace

std::unique_ptr<UploadStore> makeDiscardingStore()
{
    return std::make_unique<DiscardingStore>();
}
