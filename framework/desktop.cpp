#include "desktop.h"

#include <QDesktopServices>

namespace {
std::function<void(const QUrl&)>& opener()
{
    static std::function<void(const QUrl&)> f;
    return f;
}
} // namespace

void OpenExternally(const QUrl& url)
{
    if (opener())
        opener()(url);
    else
        QDesktopServices::openUrl(url);
}

void ShowURL(const QString& url)
{
    OpenExternally(QUrl(url));
}

void setExternalOpener(std::function<void(const QUrl&)> f)
{
    opener() = std::move(f);
}
