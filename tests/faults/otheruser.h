#pragma once

#include "support/tool/toolrun.h"

/// Runs the tool as somebody whom permissions bind: the superuser is above them, and tests run as that one in many a
/// container.
class OtherUser
{
public:
    /// False when the superuser runs the test and cannot hand the tool over: QSKIP("...").
    static bool isAvailable();
    /// Starts the tool as that user.
    static ToolOptions options();
    /// Hands \a path and all below over to that user. Returns whether that worked.
    static bool give(const QString &path);
};
