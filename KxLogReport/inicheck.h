#pragma once

#include <QByteArray>
#include <QString>

// A damaged INI file must not take the process down. Settings objects deserialise every value that says "@Variant(" or
// "@DateTime(" as soon as its group is looked at, and Qt ends the process over some damaged ones.

/// @p ini with every value whose deserialisation could harm the process turned into plain text.
///
/// Such a value gets one more "@" in front, which is how settings objects write texts that begin with "@": it reads as
/// its own text then, and nothing of it is lost. All other bytes stay as they are.
QByteArray withoutHarmfulValues(const QByteArray &ini);

/// Does that to the file at @p path, if need be, in the way in which settings objects change their files.
/// @return whether the file can be read without harm now; a file that is missing or cannot be opened can
bool takeHarmfulValuesOut(const QString &path);
