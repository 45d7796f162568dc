#include "exceptions.h"

#include <QRegularExpression>
#include <typeinfo>

namespace {
std::function<void(const std::exception&)>& reporter()
{
    static std::function<void(const std::exception&)> r;
    return r;
}
} // namespace

void ReportUnhandledException(const std::exception& e)
{
    if (reporter())
        reporter()(e);
    else
        qWarning("%s", qPrintable(UnhandledExceptionText(e)));
}

void setUnhandledExceptionReporter(std::function<void(const std::exception&)> r)
{
    reporter() = std::move(r);
}

QString UnhandledExceptionText(const std::exception& e)
{
    QString text;
    if (const auto* re = dynamic_cast<const RuntimeException*>(&e))
        text = re->Message();
    else
        text = QString::fromUtf8(e.what());
    // The mangled name of a class begins with its length.
    return QStringLiteral("An exception of class %1 was not handled.\n%2")
        .arg(QString::fromUtf8(typeid(e).name()).remove(QRegularExpression(QStringLiteral("^[0-9]+"))), text);
}
