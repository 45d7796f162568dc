#include "date.h"

Date::Date()
    : m_moment(QDateTime::currentDateTime())
{
}

Date::Date(const QDateTime& moment)
    : m_moment(moment.toLocalTime())
{
}
