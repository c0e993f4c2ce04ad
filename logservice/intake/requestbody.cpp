#include "intake/requestbody.h"

#include "http/refusal.h"
#include "store/jsonobject.h"
#include "text/quotedtext.h"

#include <algorithm>
#include <cmath>

namespace {

// Texts and documents are held in memory; files are not, and have no largest size.
constexpr std::size_t kMaxHeldBytes = std::size_t{8} * 1024 * 1024;

bool isText(const nlohmann::json &document, const char *member)
{
    return document.contains(member) && document[member].is_string();
}

bool isRoom(const nlohmann::json &value)
{
    return isText(value, "room_name") && isText(value, "room_sdk_id");
}

bool isWholeNumber(const nlohmann::json &value)
{
    return value.is_number_integer() ||
           (value.is_number_float() && std::trunc(value.get<double>()) == value.get<double>());
}

/// What \a value is not, although \a type wants it to be; null when it is.
const char *missed(MemberType type, const nlohmann::json &value)
{
    switch (type) {
    case MemberType::Text:
        return value.is_string() ? nullptr : "a text";
    case MemberType::WholeNumber:
        return isWholeNumber(value) ? nullptr : "a whole number";
    case MemberType::Rooms:
        return value.is_array() && std::all_of(value.begin(), value.end(), isRoom) ? nullptr : "a list of rooms";
    }
    return nullptr;
}

/// What is wrong with the object \a document, such as: the member "Level" is missing; empty when nothing is.
std::string problemOf(const nlohmann::json &document, const std::vector<Member> &members)
{
    for (const auto &member : members) {
        const auto found = document.find(member.name);
        if (found == document.end()) {
            if (member.isRequired)
                return "the member " + quotedText(member.name) + " is missing";
        } else if (const auto *what = missed(member.type, *found)) {
            return "the member " + quotedText(member.name) + " is not " + what;
        }
    }
    return {};
}

} // namespace

RequestBody::RequestBody(const Endpoint &endpoint, const std::string &contentType, UploadStore &store,
                         UploadRecord &record)
    : endpoint_(endpoint), store_(store), record_(record)
{
    if (!endpoint.isForm())
        return; // a document is stored when it is known to be one
    form_.emplace(formBoundary(contentType), static_cast<PartSink &>(*this));
    upload_ = store.begin();
}

void RequestBody::feed(std::string_view bytes)
{
    if (form_)
        form_->feed(bytes);
    else
        partData(bytes);
}

std::string RequestBody::finish()
{
    if (form_)
        form_->finish();
    else
        endPart();
    if (partIndex_ < endpoint_.parts.size())
        throw Refusal(400, "the form has no part " + quotedText(part().name));
    return upload_->finish(record_);
}

void RequestBody::beginPart(const PartHeader &header)
{
    checkName(header.name);
    if (part().content == Content::File) {
        if (!header.fileName)
            throw Refusal(400, partText() + " has no file name");
        record_.fileName = header.fileName;
        upload_->beginFile(part().storedAs);
    } else if (header.fileName) {
        throw Refusal(400, partText() + " has a file name but is no file");
    }
}

void RequestBody::partData(std::string_view bytes)
{
    const bool isFile = part().content == Content::File;
    if (isFile || !form_)
        record_.size += bytes.size();
    if (isFile) {
        upload_->write(bytes);
        return;
    }
    if (text_.size() + bytes.size() > kMaxHeldBytes)
        throw Refusal(400, partText() + " is longer than " + std::to_string(kMaxHeldBytes) + " bytes");
    text_ += bytes;
}

void RequestBody::endPart()
{
    if (part().content != Content::File) {
        (form_ ? record_.fields[part().name] : record_.fields) = value();
        if (!upload_)
            upload_ = store_.begin();
        upload_->beginFile(part().storedAs);
        upload_->write(text_);
        text_.clear();
    }
    upload_->endFile();
    ++partIndex_;
}

std::string RequestBody::partText() const
{
    return form_ ? "the part " + quotedText(part().name) : "the body";
}

void RequestBody::checkName(const std::string &name) const
{
    const auto &parts = endpoint_.parts;
    const auto isNamed = [&name](const Part &candidate) { return candidate.name == name; };
    const auto next = parts.begin() + static_cast<std::ptrdiff_t>(partIndex_);
    if (std::any_of(parts.begin(), next, isNamed))
        throw Refusal(400, "the part " + quotedText(name) + " comes twice");
    if (std::none_of(next, parts.end(), isNamed))
        throw Refusal(400, "the part " + quotedText(name) + " is unknown here");
    if (!isNamed(*next))
        throw Refusal(400, "the part " + quotedText(name) + " comes where " + quotedText(next->name) + " has to be");
}

/// What the record says of the text of a whole part.
nlohmann::json RequestBody::value() const
{
    if (part().content == Content::Text)
        return text_;
    auto document = parseObject(text_);
    if (!document)
        throw Refusal(400, partText() + " is not a JSON object");
    const auto problem = problemOf(*document, part().members);
    if (!problem.empty())
        throw Refusal(400, form_ ? "in " + partText() + " " + problem : problem);
    return *std::move(document);
}
