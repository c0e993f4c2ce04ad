#pragma once

#include <QStringList>

class MessageCatcher;

/// What was caught, one "function: text" each, in order. A type other than debug stands in front, "[Warning] ".
///
/// Functions are named by their signature as GCC writes it ("QString KxUpload::getFileInfo(const QString&)"), whatever
/// the compiler, and lists are shown as Qt 5 does, whatever the Qt.
QStringList messageLines(const MessageCatcher &messages);
/// Only the lines of the functions of \a className, which are named without it and their types: "uploadList: text".
QStringList messageLinesOf(const MessageCatcher &messages, const QString &className);
