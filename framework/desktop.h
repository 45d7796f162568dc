#pragma once

#include <QUrl>
#include <functional>

// Hands an address or a file to the desktop: the browser, or the viewer for the file's type.
// Nothing comes back; whether anything opened is the desktop's business.
void OpenExternally(const QUrl& url);
void ShowURL(const QString& url);

// Test seam: while set, addresses go to this function instead of the desktop.
void setExternalOpener(std::function<void(const QUrl&)> opener);
