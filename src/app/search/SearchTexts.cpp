// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/search/SearchTexts.h"

#include "app/editor/Strings.h"
#include "app/history/VersionDates.h"
#include "app/search/HitLine.h"

#include <QCoreApplication>
#include <QLocale>
#include <QStringList>
#include <algorithm>

namespace penmark {

namespace {

QString tr(const char* text)
{
    return QCoreApplication::translate("SearchTexts", text);
}

QString number(std::size_t count)
{
    return QLocale().toString(static_cast<qulonglong>(count));
}

}  // namespace

QString hitCount(std::size_t hits)
{
    return hits == 1 ? tr("1 hit") : tr("%1 hits").arg(number(hits));
}

QString problemCount(std::size_t problems)
{
    return problems == 1 ? tr("1 problem") : tr("%1 problems").arg(number(problems));
}

QString foundCounts(const TextSearchReport& report)
{
    const QString hits = hitCount(report.hits.size());
    if (report.groups.empty())
        return hits;
    if (report.groups.size() == 1)
        return tr("%1 in 1 source").arg(hits);
    return tr("%1 in %2 sources").arg(hits, number(report.groups.size()));
}

QString reportCounts(const TextSearchReport& report, bool isRunning)
{
    const bool hasEnded = report.finished || report.limited || report.cancelled;
    if (report.sources == 0 && report.hits.empty() && !hasEnded)
        return {};
    QStringList parts{foundCounts(report)};
    // What the filter index excludes was looked at as well.
    const std::size_t searched = std::min(report.scanned + report.indexedSkips, report.sources);
    if (report.sources > 0)
        parts << tr("%1 of %2 searched").arg(number(searched), number(report.sources));
    if (!isRunning && hasEnded)
        parts << tr("%1 ms").arg(QLocale().toString(static_cast<qlonglong>(report.elapsedMS)));
    return parts.join(QStringLiteral(" · "));
}

QString sourceBadge(const TextSearchSource& source)
{
    if (source.kind == TextSearchSource::Kind::historical)
        return toQString(sourceLabel(source));
    return source.isUnsaved ? tr("Unsaved") : QString();
}

QString versionMoment(const TextSearchSource& source, Date now)
{
    return source.storedAt ? momentText(*source.storedAt, now) : QString();
}

QString matchLabel(const TextSearchHit& hit)
{
    switch (hit.match.kind) {
    case TextMatchKind::exact:
        break;
    case TextMatchKind::normalized:
        return tr("normalized");
    case TextMatchKind::typo:
        return tr("typo");
    }
    return hit.isInName ? tr("name") : QString();
}

QString modeHelp(TextMatchMode mode)
{
    switch (mode) {
    case TextMatchMode::literal:
    case TextMatchMode::regex:
        break;
    case TextMatchMode::normalized:
        return tr("Opt-in: folds accents and - . _ / separators. Exact matches rank first; normalized matches are "
                  "labeled.");
    case TextMatchMode::typoTolerant:
        return tr("Opt-in: one inserted, removed or substituted character in a single 4–64 character word. Exact "
                  "matches rank first.");
    }
    return {};
}

std::vector<std::string> parseFileTypes(const QString& typed)
{
    QString parts = typed;
    for (const QChar separator : {QLatin1Char(','), QLatin1Char(';'), QLatin1Char('\t')})
        parts.replace(separator, QLatin1Char(' '));
    std::vector<std::string> types;
    for (QString type : parts.split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
        while (type.startsWith(QLatin1Char('*')) || type.startsWith(QLatin1Char('.')))
            type.remove(0, 1);
        std::string extension = type.toStdString();
        if (!extension.empty() && std::ranges::find(types, extension) == types.end())
            types.push_back(std::move(extension));
    }
    return types;
}

QString fileTypesText(const std::vector<std::string>& types)
{
    QStringList parts;
    for (const std::string& type : types)
        parts << toQString(type);
    return parts.join(QStringLiteral(", "));
}

QString targetText(const ResolvedSearchTarget& target, TextScopeKind kind)
{
    if (!target.isAvailable || kind == TextScopeKind::allDocuments || kind == TextScopeKind::allHistory)
        return {};
    const QString title = harmlessLine(target.title);
    const QString detail = harmlessLine(target.detail);
    // The title of a fixed target stands on the button that chooses it, and some details begin with theirs.
    if (hasFixedTarget(kind) && detail.startsWith(title))
        return detail.mid(title.size()).remove(0, detail.mid(title.size()).startsWith(QStringLiteral(" · ")) ? 3 : 0);
    if (hasFixedTarget(kind) || detail.startsWith(title) || title.isEmpty())
        return detail;
    return detail.isEmpty() ? title : title + QStringLiteral(" · ") + detail;
}

}  // namespace penmark
