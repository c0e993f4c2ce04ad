#pragma once

#include <QByteArray>

// Values of an INI file over which Qt ends the process when it deserialises or writes them.

/// A list of 0x7fffffff texts.
QByteArray hugeList();
/// Lists in lists, \a depth of them.
QByteArray nestedLists(int depth);
/// A time that counts as one with a time zone and has none.
QByteArray timeWithoutZone();
