#pragma once

#include <QString>

/// Whether the folder and the disk of @p path take another version of that file, with space to spare.
///
/// To be asked before settings are changed: when the disk is full, QSettings puts what it could write of an INI file in
/// the place of the whole one. Tried out with a file "<path>.space", which is removed again.
bool hasSpaceToRewrite(const QString &path);
