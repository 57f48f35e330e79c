// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/editor/Strings.h"

namespace penmark {

QString toQString(std::string_view utf8)
{
    QString string = QString::fromUtf8(utf8.data(), static_cast<qsizetype>(utf8.size()));
    if (utf8.starts_with("\uFEFF"))
        string.prepend(QChar(0xFEFF));
    return string;
}

}  // namespace penmark
