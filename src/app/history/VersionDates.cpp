// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/history/VersionDates.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QLocale>

namespace penmark {

namespace {

QDateTime localTime(Date date)
{
    constexpr double from1970To2001 = 978'307'200;
    return QDateTime::fromMSecsSinceEpoch(static_cast<qint64>((date.seconds + from1970To2001) * 1000));
}

QString tr(const char* text)
{
    return QCoreApplication::translate("penmark::VersionDates", text);
}

}  // namespace

QDate localDay(Date date)
{
    return localTime(date).date();
}

QString dayHeading(QDate day, QDate today)
{
    if (day == today)
        return tr("Today");
    if (day.addDays(1) == today)
        return tr("Yesterday");
    return QLocale().toString(day, tr("dddd, d MMMM yyyy"));
}

QString timeOfDay(Date date)
{
    return QLocale().toString(localTime(date).time(), tr("HH:mm:ss"));
}

QString momentText(Date date, Date now)
{
    const QDate day = localDay(date);
    const QString time = timeOfDay(date);
    return day == localDay(now) ? time : tr("%1 %2").arg(QLocale().toString(day, tr("d MMM yyyy")), time);
}

}  // namespace penmark
