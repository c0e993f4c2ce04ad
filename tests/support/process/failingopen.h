#pragma once

#include <QString>

/// Opens of one path that fail, for what happens only when of two attempts one succeeds.
///
/// A program that links this has its own open(), which takes the place of the C library's for Qt as well. Preloaded
/// into another program, it fails the first open of the path that the environment variable KX_FAILING_OPEN names.
/// For Linux only.
namespace failingopen {

/// The next \a count attempts to open \a path fail with EACCES.
void failNext(const QString &path, int count);
/// Likewise, but only after \a successes attempts that go through.
void failAfter(const QString &path, int successes, int count);
/// Attempts to open that path since then.
int attempts();

} // namespace failingopen
