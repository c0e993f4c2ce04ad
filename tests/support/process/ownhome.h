#pragma once

#include <QString>

/// Makes \a path the home of this process, so that nothing of the user's home is read or written.
void useHome(const QString &path);
