#pragma once

#include <QUrl>
#include <functional>

// Hands an address or a file to the desktop: the browser, or the viewer for the file's type.
// Nothing comes back; whether anything opened is the desktop's business.
void OpenExternally(const QUrl& url);
void ShowURL(const QString& url);

// Where addresses go. The widgets part sets the desktop's own opener at start-up, and a test sets one
// of its own to see them; with none, nothing opens.
void setExternalOpener(std::function<void(const QUrl&)> opener);
