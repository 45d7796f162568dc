#include "desktop.h"

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
}

void ShowURL(const QString& url)
{
    OpenExternally(QUrl(url));
}

void setExternalOpener(std::function<void(const QUrl&)> f)
{
    opener() = std::move(f);
}
