#pragma once

/// The value of a plain \a member that other threads may be setting by setSharedValue().
///
/// The members of KxLog are laid down as plain types, and some are read by every thread.
template<typename T>
T sharedValue(const T &member)
{
    return __atomic_load_n(&member, __ATOMIC_ACQUIRE);
}

/// Sets \a member for all threads, with all that was done before.
template<typename T>
void setSharedValue(T &member, T value)
{
    __atomic_store_n(&member, value, __ATOMIC_RELEASE);
}
