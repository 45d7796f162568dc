#include "variant.h"

int Variant::VarType() const
{
    static constexpr int codes[] = {TypeNil, TypeInteger, TypeDouble, TypeDate, TypeString, TypeObject};
    if (const auto* o = std::get_if<std::shared_ptr<Object>>(&m_value); o && !*o)
        return TypeNil;
    return codes[m_value.index()];
}

qint32 Variant::IntegerValue() const
{
    if (const auto* i = std::get_if<qint32>(&m_value))
        return *i;
    if (const auto* d = std::get_if<double>(&m_value))
        return qint32(*d);
    if (const auto* s = std::get_if<QString>(&m_value))
        return s->trimmed().toInt();
    return 0;
}

double Variant::DoubleValue() const
{
    if (const auto* i = std::get_if<qint32>(&m_value))
        return *i;
    if (const auto* d = std::get_if<double>(&m_value))
        return *d;
    if (const auto* s = std::get_if<QString>(&m_value))
        return s->trimmed().toDouble();
    if (const auto* t = std::get_if<Date>(&m_value))
        return t->TotalSeconds();
    return 0;
}

QString Variant::StringValue() const
{
    if (const auto* s = std::get_if<QString>(&m_value))
        return *s;
    if (const auto* i = std::get_if<qint32>(&m_value))
        return QString::number(*i);
    if (const auto* d = std::get_if<double>(&m_value))
        return QString::number(*d, 'g', 15);
    if (const auto* t = std::get_if<Date>(&m_value))
        return QDateTime::fromSecsSinceEpoch(qint64(t->TotalSeconds())).toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"));
    return QString();
}

Date Variant::DateValue() const
{
    if (const auto* t = std::get_if<Date>(&m_value))
        return *t;
    return Date();
}

std::shared_ptr<Object> Variant::ObjectValue() const
{
    if (const auto* o = std::get_if<std::shared_ptr<Object>>(&m_value))
        return *o;
    return nullptr;
}
