#include "unprivileged.h"

#include <QtGlobal>
#include <sys/types.h>
#include <unistd.h>

namespace {

constexpr uid_t kOtherUser = 65534;

} // namespace

// access() asks for the real user, unlink() and open() for the effective one. The saved one stays, and is the way back.
Unprivileged::Unprivileged()
{
    if (::geteuid() != 0)
        return;
    switched_ = ::setreuid(kOtherUser, 0) == 0;
    valid_ = switched_ && ::seteuid(kOtherUser) == 0;
}

Unprivileged::~Unprivileged()
{
    if (switched_ && (::seteuid(0) != 0 || ::setreuid(0, 0) != 0))
        qFatal("The rights of the superuser did not come back");
}
