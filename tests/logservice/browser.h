#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

/// A Chromium without a window, if the machine has one.
namespace browser {

/// Path of the program; empty without one.
QString program();

/// Loads \a url in a browser that has never been used and returns its document as the browser sees it, as HTML; what
/// the browser has printed as errors when it could not.
QByteArray documentOf(const QString &url);

} // namespace browser
