#include "intake/jsonbody.h"

#include "http/refusal.h"
#include "store/jsonobject.h"

JsonBody::JsonBody(const Endpoint &endpoint, UploadStore &store, UploadRecord &record)
    : endpoint_(endpoint), store_(store), record_(record)
{
}

void JsonBody::feed(std::string_view bytes)
{
    record_.size += bytes.size();
    if (record_.size > kMaxTextBytes)
        throw Refusal(400, "the body is longer than " + std::to_string(kMaxTextBytes) + " bytes");
    text_ += bytes;
}

std::string JsonBody::finish()
{
    auto document = parseObject(text_);
    if (!document)
        throw Refusal(400, "the body is not a JSON object");
    const auto problem = problemOf(*document, endpoint_.members);
    if (!problem.empty())
        throw Refusal(400, problem);
    record_.fields = *std::move(document);

    const auto upload = store_.begin();
    upload->beginFile(endpoint_.document);
    upload->write(text_);
    upload->endFile();
    return upload->finish(record_);
}
