#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Texts and JSON documents are held in memory, so they are bounded; files are not.
constexpr std::size_t kMaxTextBytes = std::size_t{8} * 1024 * 1024;

/// Takes the body of one request as it arrives and stores it.
///
/// feed() and finish() throw Refusal for what the endpoint does not take and StoreError when the disk fails; the body
/// must not be used any more then, and destroying it removes what it has stored.
class RequestBody
{
public:
    virtual ~RequestBody() = default;

    virtual void feed(std::string_view bytes) = 0;

    /// To be called behind the last byte. Returns the name under which the upload is stored (Upload::finish()).
    virtual std::string finish() = 0;
};
