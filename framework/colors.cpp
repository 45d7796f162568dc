#include "colors.h"

#include "dialogs.h"

#include <QApplication>
#include <QColorDialog>

namespace {
QColor fromRgbNumber(qint64 n)
{
    return QColor(int((n >> 16) & 0xFF), int((n >> 8) & 0xFF), int(n & 0xFF));
}
} // namespace

QVariant StringToVariant(const QString& text)
{
    return QVariant(text);
}

QColor VariantToColor(const QVariant& value)
{
    if (value.typeId() == QMetaType::QColor)
        return value.value<QColor>();
    if (value.typeId() != QMetaType::QString) {
        bool ok = false;
        const qint64 n = value.toLongLong(&ok);
        return ok ? fromRgbNumber(n) : QColor(0, 0, 0);
    }
    const QString text = value.toString().trimmed();
    if (text.size() < 3 || text.at(0) != QLatin1Char('&') || text.at(1).toLower() != QLatin1Char('h'))
        return QColor(0, 0, 0);
    bool ok = false;
    const qint64 n = text.mid(2).toLongLong(&ok, 16);
    return ok ? fromRgbNumber(n) : QColor(0, 0, 0);
}

QVariant ColorToVariant(const QColor& color)
{
    const QColor c = color.toRgb();
    const QString digits = QStringLiteral("%1%2%3")
                               .arg(c.red(), 2, 16, QLatin1Char('0'))
                               .arg(c.green(), 2, 16, QLatin1Char('0'))
                               .arg(c.blue(), 2, 16, QLatin1Char('0'));
    return QVariant(QStringLiteral("&h") + digits.toUpper());
}

bool SelectColor(QColor& c, const QString& prompt)
{
    // A test may give the picker's answer: a colour, or an invalid variant for Cancel.
    if (auto answer = DialogHooks::takeAnswer(Dialog::SelectColor)) {
        if (!answer->isValid())
            return false;
        c = VariantToColor(*answer);
        return true;
    }
    const QColor chosen = QColorDialog::getColor(c, QApplication::activeWindow(), prompt);
    if (!chosen.isValid())
        return false;
    c = chosen;
    return true;
}
