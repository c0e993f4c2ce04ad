#include "intake/formbody.h"

#include "http/refusal.h"
#include "store/jsonobject.h"
#include "text/quotedtext.h"

#include <algorithm>

FormBody::FormBody(const Endpoint &endpoint, const std::string &contentType, UploadStore &store, UploadRecord &record)
    : endpoint_(endpoint), record_(record), reader_(formBoundary(contentType), *this), upload_(store.begin())
{
}

void FormBody::feed(std::string_view bytes)
{
    reader_.feed(bytes);
}

std::string FormBody::finish()
{
    reader_.finish();
    if (partIndex_ < endpoint_.form.size())
        throw Refusal(400, "the form has no part " + quotedText(field().name));
    return upload_->finish(record_);
}

void FormBody::beginPart(const PartHeader &header)
{
    checkName(header.name);
    if (field().content == Content::File) {
        if (!header.fileName)
            throw Refusal(400, "the part " + quotedText(header.name) + " has no file name");
        record_.fileName = header.fileName;
    } else if (header.fileName) {
        throw Refusal(400, "the part " + quotedText(header.name) + " has a file name but is no file");
    }
    text_.clear();
    upload_->beginFile(field().storedAs);
}

void FormBody::partData(std::string_view bytes)
{
    if (field().content == Content::File) {
        record_.size += bytes.size();
    } else {
        if (text_.size() + bytes.size() > kMaxTextBytes)
            throw Refusal(400, "the part " + quotedText(field().name) + " is longer than " +
                                   std::to_string(kMaxTextBytes) + " bytes");
        text_ += bytes;
    }
    upload_->write(bytes);
}

void FormBody::endPart()
{
    upload_->endFile();
    if (field().content == Content::Text) {
        record_.fields[field().name] = text_;
    } else if (field().content == Content::Json) {
        auto document = parseObject(text_);
        if (!document)
            throw Refusal(400, "the part " + quotedText(field().name) + " is not a JSON object");
        const auto problem = problemOf(*document, field().members);
        if (!problem.empty())
            throw Refusal(400, "in the part " + quotedText(field().name) + " " + problem);
        record_.fields[field().name] = *std::move(document);
    }
    ++partIndex_;
}

void FormBody::checkName(const std::string &name) const
{
    const auto &form = endpoint_.form;
    const auto isNamed = [&name](const Field &candidate) { return candidate.name == name; };
    const auto next = form.begin() + static_cast<std::ptrdiff_t>(partIndex_);
    if (std::any_of(form.begin(), next, isNamed))
        throw Refusal(400, "the part " + quotedText(name) + " comes twice");
    if (std::none_of(next, form.end(), isNamed))
        throw Refusal(400, "the part " + quotedText(name) + " is unknown here");
    if (!isNamed(*next))
        throw Refusal(400, "the part " + quotedText(name) + " comes where " + quotedText(next->name) + " has to be");
}
