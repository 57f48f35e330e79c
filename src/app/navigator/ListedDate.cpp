// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/navigator/ListedDate.h"

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

}  // namespace

QString listedDate(Date date, Date now)
{
    const auto tr = [](const char* text) { return QCoreApplication::translate("penmark::ListedDate", text); };
    const QLocale locale;
    const QDateTime when = localTime(date);
    const QDate today = localTime(now).date();
    const QString time = locale.toString(when.time(), tr("HH:mm"));
    if (when.date() == today)
        return time;
    if (when.date().addDays(1) == today)
        return tr("yesterday %1").arg(time);
    return locale.toString(when.date(), when.date().year() == today.year() ? tr("d MMM") : tr("d MMM yyyy"));
}

}  // namespace penmark
