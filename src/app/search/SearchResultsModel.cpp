// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/search/SearchResultsModel.h"

#include "app/editor/Strings.h"
#include "app/search/HitLine.h"
#include "app/search/SearchTexts.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string>

namespace penmark {

namespace {

// A group has this as the identity of its row; a hit the number of its group, from 1.
constexpr quintptr groupRow = 0;

/// Of a version with its day, whenever that was: what is copied is read at another time.
std::string placeOf(const TextSearchSource& source)
{
    const std::string& place = source.path.empty() ? source.title : source.path;
    return source.storedAt ? place + " (" + source.storedAt->localText() + ")" : place;
}

void appendLine(std::string& lines, const std::string& place, const TextSearchHit& hit)
{
    lines += place;
    lines += ':';
    lines += std::to_string(hit.line);
    lines += ':';
    const auto start = static_cast<std::ptrdiff_t>(lines.size());
    lines += hit.text;
    std::replace_if(
        lines.begin() + start, lines.end(), [](char c) { return c == '\n' || c == '\r'; }, ' ');
}

}  // namespace

SearchResultsModel::SearchResultsModel(const SearchController& controller, QObject* parent)
    : QAbstractItemModel(parent), controller_(controller)
{
    connect(&controller, &SearchController::resultsCleared, this, &SearchResultsModel::clear);
    connect(&controller, &SearchController::resultsAdded, this, &SearchResultsModel::add);
    if (!controller.report().hits.empty())
        add(0, 0);
}

void SearchResultsModel::clear()
{
    beginResetModel();
    groups_ = 0;
    lastLine_ = 0;
    endResetModel();
}

void SearchResultsModel::add(std::size_t firstHit, std::size_t firstGroup)
{
    const TextSearchReport& report = controller_.report();
    for (std::size_t hit = firstHit; hit < report.hits.size(); ++hit)
        lastLine_ = std::max(lastLine_, report.hits[hit].line);
    if (firstGroup >= report.groups.size())
        return;
    beginInsertRows({}, static_cast<int>(firstGroup), static_cast<int>(report.groups.size()) - 1);
    groups_ = report.groups.size();
    endInsertRows();
}

const TextSearchGroup* SearchResultsModel::group(const QModelIndex& index) const
{
    const auto& groups = controller_.report().groups;
    const auto row = static_cast<std::size_t>(index.row());
    return index.isValid() && index.internalId() == groupRow && row < groups.size() ? &groups[row] : nullptr;
}

std::optional<std::size_t> SearchResultsModel::hitNumber(const QModelIndex& index) const
{
    const TextSearchReport& report = controller_.report();
    if (!index.isValid() || index.internalId() == groupRow || index.internalId() > report.groups.size())
        return std::nullopt;
    const std::size_t number = report.groups[index.internalId() - 1].firstHit + static_cast<std::size_t>(index.row());
    return number < report.hits.size() ? std::optional(number) : std::nullopt;
}

const TextSearchHit* SearchResultsModel::hit(const QModelIndex& index) const
{
    const auto number = hitNumber(index);
    return number ? &controller_.report().hits[*number] : nullptr;
}

QModelIndex SearchResultsModel::indexOf(std::size_t hit) const
{
    const TextSearchReport& report = controller_.report();
    if (hit >= report.hits.size() || groups_ == 0)
        return {};
    const auto behind = std::ranges::upper_bound(report.groups, hit, {}, &TextSearchGroup::firstHit);
    const auto group = static_cast<std::size_t>(behind - report.groups.begin()) - 1;
    return createIndex(static_cast<int>(hit - report.groups[group].firstHit), 0, group + 1);
}

QString SearchResultsModel::lineOf(const TextSearchSource& source, const TextSearchHit& hit)
{
    std::string line;
    appendLine(line, placeOf(source), hit);
    return toQString(line);
}

QString SearchResultsModel::allLines() const
{
    // As bytes, and converted once: there may be 100,000 and more.
    const TextSearchReport& report = controller_.report();
    std::string all;
    for (const TextSearchGroup& group : report.groups) {
        const std::string place = placeOf(*group.source);
        for (std::size_t hit = 0; hit < group.hits; ++hit) {
            appendLine(all, place, report.hits[group.firstHit + hit]);
            all += '\n';
        }
    }
    return toQString(all);
}

QModelIndex SearchResultsModel::index(int row, int column, const QModelIndex& parent) const
{
    if (column != 0 || row < 0 || row >= rowCount(parent))
        return {};
    return createIndex(row, 0, parent.isValid() ? static_cast<quintptr>(parent.row()) + 1 : groupRow);
}

QModelIndex SearchResultsModel::parent(const QModelIndex& index) const
{
    if (!index.isValid() || index.internalId() == groupRow)
        return {};
    return createIndex(static_cast<int>(index.internalId() - 1), 0, groupRow);
}

int SearchResultsModel::rowCount(const QModelIndex& parent) const
{
    if (!parent.isValid())
        return static_cast<int>(groups_);
    const TextSearchGroup* const above = group(parent);
    return above ? static_cast<int>(above->hits) : 0;
}

int SearchResultsModel::columnCount(const QModelIndex&) const
{
    return 1;
}

Qt::ItemFlags SearchResultsModel::flags(const QModelIndex& index) const
{
    if (!index.isValid())
        return Qt::NoItemFlags;
    const Qt::ItemFlags all = Qt::ItemIsEnabled | Qt::ItemIsSelectable;
    return index.internalId() == groupRow ? all : all | Qt::ItemNeverHasChildren;
}

QVariant SearchResultsModel::data(const QModelIndex& index, int role) const
{
    switch (role) {
    case Qt::DisplayRole:
        if (const TextSearchGroup* const above = group(index))
            return harmlessLine(above->source->title);
        if (const TextSearchHit* const found = hit(index))
            return HitLine::of(*found).text;
        break;
    case Qt::ToolTipRole:
        if (const TextSearchGroup* const above = group(index))
            return harmlessLine(sourceLocation(*above->source));
        break;
    case Qt::AccessibleTextRole:
        return accessibleText(index);
    default:
        break;
    }
    return {};
}

QString SearchResultsModel::accessibleText(const QModelIndex& index) const
{
    if (const TextSearchGroup* const above = group(index)) {
        const QStringList parts{harmlessLine(above->source->title), versionMoment(*above->source),
                                harmlessLine(sourceLocation(*above->source)), sourceBadge(*above->source),
                                hitCount(above->hits)};
        QStringList said;
        std::copy_if(parts.begin(), parts.end(), std::back_inserter(said), [](const auto& s) { return !s.isEmpty(); });
        return said.join(QStringLiteral(", "));
    }
    const TextSearchHit* const found = hit(index);
    if (!found)
        return {};
    const QString text = HitLine::of(*found).text;
    const QString line = found->isInName ? text : tr("Line %1: %2").arg(QString::number(found->line), text);
    const QString label = matchLabel(*found);
    return label.isEmpty() ? line : line + QStringLiteral(", ") + label;
}

}  // namespace penmark
