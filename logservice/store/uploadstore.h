#pragma once

#include "store/uploadrecord.h"

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

/// Thrown when the disk does not do what is asked of it; what() is one line.
class StoreError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// One upload while it comes in. Destroyed before finish(), it leaves nothing behind.
///
/// Every operation may throw StoreError; the upload is then only good for being destroyed.
class Upload
{
public:
    virtual ~Upload() = default;

    /// Begins a file of the upload. \a name comes from the table of endpoints, never from a request.
    virtual void beginFile(const std::string &name) = 0;
    virtual void write(std::string_view bytes) = 0;
    virtual void endFile() = 0;

    /// Keeps the upload and returns the name under which it is found.
    virtual std::string finish(const UploadRecord &record) = 0;
};

/// Where uploads go. May be used by several threads at once.
class UploadStore
{
public:
    virtual ~UploadStore() = default;

    virtual std::unique_ptr<Upload> begin() = 0;

    /// Gives up the uploads that are still coming in: they leave nothing behind, and none is finished any more.
    virtual void close() noexcept = 0;
};
