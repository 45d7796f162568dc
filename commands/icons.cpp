#include "icons.h"

#include <QHash>

static void initIconResources()
{
    // Resources compiled into a static library are registered only when asked for.
    static const bool done = [] {
        Q_INIT_RESOURCE(icons);
        return true;
    }();
    Q_UNUSED(done);
}

namespace {
const QImage& picture(const QString& name)
{
    static QHash<QString, QImage> loaded;
    auto it = loaded.find(name);
    if (it == loaded.end()) {
        initIconResources();
        it = loaded.insert(name, QImage(QStringLiteral(":/icons/%1.png").arg(name)));
    }
    return *it;
}

// The mask's grey level is the icon's transparency: white lets the background through.
const QImage& masked(const QString& name)
{
    static QHash<QString, QImage> composed;
    auto it = composed.find(name);
    if (it == composed.end()) {
        QImage icon = picture(name).convertToFormat(QImage::Format_ARGB32);
        // "name@2x" has its mask in "namemask@2x".
        QString mask = name;
        mask.insert(name.endsWith(QLatin1String("@2x")) ? name.size() - 3 : name.size(), QLatin1String("mask"));
        QImage alpha = picture(mask).convertToFormat(QImage::Format_Grayscale8);
        alpha.invertPixels();
        // setAlphaChannel paints in logical pixels: at a ratio of 2 it would lay the mask on twice as large.
        const qreal ratio = icon.devicePixelRatio();
        icon.setDevicePixelRatio(1);
        alpha.setDevicePixelRatio(1);
        icon.setAlphaChannel(alpha);
        icon.setDevicePixelRatio(ratio);
        it = composed.insert(name, icon);
    }
    return *it;
}
} // namespace

const QImage& drawingAt2x(const QString& name)
{
    return masked(name + QStringLiteral("@2x"));
}

const QImage& icone_projetos32x32()
{
    return masked(QStringLiteral("icone_projetos32x32"));
}
const QImage& icone_projetos32x32mask()
{
    return picture(QStringLiteral("icone_projetos32x32mask"));
}
const QImage& icone_clientes32x32()
{
    return masked(QStringLiteral("icone_clientes32x32"));
}
const QImage& icone_clientes32x32mask()
{
    return picture(QStringLiteral("icone_clientes32x32mask"));
}
const QImage& icone_labels32x32()
{
    return masked(QStringLiteral("icone_labels32x32"));
}
const QImage& icone_labels32x32mask()
{
    return picture(QStringLiteral("icone_labels32x32mask"));
}
const QImage& icone_mailing32x32()
{
    return masked(QStringLiteral("icone_mailing32x32"));
}
const QImage& icone_mailing32x32mask()
{
    return picture(QStringLiteral("icone_mailing32x32mask"));
}
const QImage& icone_backup32x32()
{
    return masked(QStringLiteral("icone_backup32x32"));
}
const QImage& icone_backup32x32mask()
{
    return picture(QStringLiteral("icone_backup32x32mask"));
}
