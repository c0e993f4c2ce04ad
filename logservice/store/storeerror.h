#pragma once

#include <stdexcept>

/// Thrown when the disk does not do what is asked of it; what() is one line.
class StoreError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};
