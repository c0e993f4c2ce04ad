#pragma once

class QSettings;

/// Has \a settings read and write their file in UTF-8, without losing a character.
///
/// Those of Qt 5 hand a codec the text that they write one UTF-16 unit at a time: the UTF-8 codec of Qt then loses each
/// character that takes two units. Those of Qt 6 know UTF-8 only, and keep it whole.
void useUtf8(QSettings &settings);
