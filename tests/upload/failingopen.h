#pragma once

#include <QString>

/// Opens of one path that fail once, for what happens only when a second attempt succeeds where the first did not.
///
/// The program that links this has its own open(), which takes the place of the C library's for Qt as well.
namespace failingopen {

/// The next `count` attempts to open `path` fail with EACCES.
void failNext(const QString &path, int count);
/// Attempts to open that path since then.
int attempts();

} // namespace failingopen
