#pragma once

class QTextCodec;

/// UTF-8 for settings objects that write: QSettings::setIniCodec(). Lives to the end of the process.
///
/// Qt 5 only, whose settings objects hand a codec the text that they write one UTF-16 unit at a time. The UTF-8 codec
/// of Qt then loses each character that takes two units. Qt 6 has neither codecs nor that fault.
QTextCodec *joiningUtf8Codec();
