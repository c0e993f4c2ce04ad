#pragma once

/// Takes the rights of the superuser from this process until the end of the scope, so that file permissions count.
/// Nothing changes for a process that has no such rights.
class Unprivileged
{
public:
    Unprivileged();
    ~Unprivileged();
    Unprivileged(const Unprivileged &) = delete;
    Unprivileged &operator=(const Unprivileged &) = delete;

    /// False when the rights could not be given up: if (!rights.isValid()) QSKIP("...").
    bool isValid() const { return valid_; }

private:
    bool switched_ = false;
    bool valid_ = true;
};
