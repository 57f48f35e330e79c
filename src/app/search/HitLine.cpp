// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/search/HitLine.h"

#include "app/editor/Strings.h"

#include <QFontMetricsF>
#include <algorithm>

namespace penmark {

namespace {

constexpr QChar ellipsis(0x2026);

constexpr bool turnsOrder(char16_t unit)
{
    return (unit >= 0x202A && unit <= 0x202E) || (unit >= 0x2066 && unit <= 0x2069);
}

QChar harmlessUnit(char16_t unit)
{
    if (unit == '\t')
        return QLatin1Char(' ');
    if (unit < 0x20)
        return QChar(0x2400 + unit);
    if (unit == 0x7F)
        return QChar(0x2421);
    if (unit == 0x85 || unit == 0x2028 || unit == 0x2029)
        return QChar(0x2424);
    if ((unit >= 0x80 && unit < 0xA0) || turnsOrder(unit))
        return QChar(QChar::ReplacementCharacter);
    return QChar(unit);
}

/// What is left of a line when all before `start` is cut away.
HitLine behind(const HitLine& line, qsizetype start)
{
    while (start > 0 && line.text.at(start).isLowSurrogate())
        --start;
    if (start <= 1)
        return line;
    return {ellipsis + line.text.mid(start), line.mark - start + 1, line.length};
}

}  // namespace

QString harmlessLine(std::string_view utf8)
{
    QString text = toQString(utf8);
    for (qsizetype index = 0; index < text.size(); ++index) {
        const char16_t unit = text.at(index).unicode();
        if (unit < 0x20 || unit >= 0x7F)
            text[index] = harmlessUnit(unit);
    }
    return text;
}

HitLine HitLine::of(const TextSearchHit& hit)
{
    const std::string_view text = hit.text;
    const std::size_t start = std::min(hit.mark.start.value, text.size());
    const std::size_t end = std::clamp(hit.mark.end.value, start, text.size());
    QString before = harmlessLine(text.substr(0, start));
    const QString marked = harmlessLine(text.substr(start, end - start));
    if (hit.textStart > 0) {
        before.prepend(ellipsis);
    } else {
        const auto* const first = std::find_if(before.cbegin(), before.cend(), [](QChar c) { return !c.isSpace(); });
        before.remove(0, first - before.cbegin());
    }
    return {before + marked + harmlessLine(text.substr(end)), before.size(), marked.size()};
}

HitLine HitLine::fitting(const QFontMetricsF& metrics, double width) const
{
    const auto room = static_cast<qsizetype>(std::max(8.0, width / std::max(1.0, metrics.averageCharWidth())));
    // Where it fits in, the match stands behind a third of the line that comes before it; a wide script needs more
    // room for the same characters, so the beginning is cut until the match is seen.
    qsizetype lead = mark + length <= room ? mark : std::max<qsizetype>(4, (room - length) / 3);
    for (;;) {
        HitLine cut = behind(*this, std::max<qsizetype>(0, mark - lead));
        cut.text.truncate(std::max(cut.mark, qsizetype(0)) + room * 4);
        const QString shown = metrics.elidedText(cut.text, Qt::ElideRight, width);
        const bool isWhole = shown.size() == cut.text.size();
        const qsizetype seen = isWhole ? shown.size() : std::max<qsizetype>(0, shown.size() - 1);
        if (isWhole || lead == 0 || cut.mark + std::min<qsizetype>(length, room / 2) <= seen) {
            cut.text = shown;
            cut.mark = std::min(cut.mark, seen);
            cut.length = std::min(cut.length, seen - cut.mark);
            return cut;
        }
        lead /= 2;
    }
}

}  // namespace penmark
