#pragma once

#include <QDateTime>

// A moment in the system's local time.
class Date
{
public:
    // The present moment.
    Date();
    explicit Date(const QDateTime& moment);

    int Year() const { return m_moment.date().year(); }
    int Month() const { return m_moment.date().month(); }
    int Day() const { return m_moment.date().day(); }
    int Hour() const { return m_moment.time().hour(); }
    int Minute() const { return m_moment.time().minute(); }
    int Second() const { return m_moment.time().second(); }
    // 1 is Sunday.
    int DayOfWeek() const { return m_moment.date().dayOfWeek() % 7 + 1; }
    // Hours east of UTC, at this moment.
    double GMTOffset() const { return m_moment.offsetFromUtc() / 3600.0; }
    double TotalSeconds() const { return m_moment.toSecsSinceEpoch(); }

private:
    QDateTime m_moment;
};
