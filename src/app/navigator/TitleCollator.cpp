// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/navigator/TitleCollator.h"

namespace penmark {

QCollator titleCollator()
{
    const QLocale locale;
    QCollator collator(locale.language() == QLocale::C ? QLocale(QLocale::English) : locale);
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    collator.setNumericMode(true);
    return collator;
}

}  // namespace penmark
