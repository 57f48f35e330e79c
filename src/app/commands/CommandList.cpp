// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/commands/CommandList.h"

#include <QApplication>
#include <QPainter>
#include <QTextLayout>
#include <algorithm>

namespace penmark {

namespace {

constexpr int rowMargin = 10;
constexpr int rowPadding = 7;
constexpr int categoryPenalty = 150'000;  // a name is a better match than its category, by more than one quality

QString keyText(const CommandRegistry& registry, const Command& command)
{
    const QList<QKeySequence> keys = registry.shortcuts(command.id);
    return keys.isEmpty() ? QString() : keys[0].toString(QKeySequence::NativeText);
}

QColor between(const QColor& first, const QColor& second, double share)
{
    const auto mix = [share](int a, int b) { return static_cast<int>(a + (b - a) * share); };
    return {mix(first.red(), second.red()), mix(first.green(), second.green()), mix(first.blue(), second.blue())};
}

}  // namespace

CommandList::CommandList(const CommandRegistry& registry, QObject* parent)
    : QAbstractListModel(parent), registry_(registry)
{}

void CommandList::open(const CommandContext& context)
{
    beginResetModel();
    if (entries_.size() != registry_.commands().size()) {
        entries_.clear();
        for (const Command& command : registry_.commands()) {
            const QString whole = command.category + QLatin1Char(' ') + command.name;
            entries_.push_back({&command, FoldedName(command.name), FoldedName(whole), true, {}});
        }
        std::stable_sort(entries_.begin(), entries_.end(), [](const Entry& a, const Entry& b) {
            return QString::localeAwareCompare(a.command->name, b.command->name) < 0;
        });
    }
    for (Entry& entry : entries_) {
        entry.enabled = entry.command->enabled(context);
        entry.reason = entry.enabled ? QString() : entry.command->reason(context);
    }
    match_ = FuzzyMatch(QStringView());
    showAll();
    endResetModel();
}

void CommandList::showAll()
{
    shown_.clear();
    std::vector<bool> isRecent(entries_.size());
    for (const std::string& id : registry_.recentlyUsed()) {
        for (std::size_t index = 0; index < entries_.size(); ++index) {
            if (entries_[index].command->id == id) {
                shown_.push_back(index);
                isRecent[index] = true;
            }
        }
    }
    for (std::size_t index = 0; index < entries_.size(); ++index) {
        if (!isRecent[index])
            shown_.push_back(index);
    }
}

void CommandList::filter(const QString& typed)
{
    beginResetModel();
    match_ = FuzzyMatch(typed);
    if (match_.isEmpty()) {
        showAll();
    } else {
        std::vector<std::pair<int, std::size_t>> found;
        for (std::size_t index = 0; index < entries_.size(); ++index) {
            const Entry& entry = entries_[index];
            const int score = std::max(match_.score(entry.name), match_.score(entry.withCategory) - categoryPenalty);
            if (score > 0)
                found.emplace_back(score, index);
        }
        std::stable_sort(found.begin(), found.end(), [](const auto& a, const auto& b) { return a.first > b.first; });
        shown_.clear();
        for (const auto& [score, index] : found)
            shown_.push_back(index);
    }
    endResetModel();
}

int CommandList::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(shown_.size());
}

QVariant CommandList::data(const QModelIndex& index, int role) const
{
    const Entry& entry = entries_[shown_[static_cast<std::size_t>(index.row())]];
    switch (role) {
    case Qt::DisplayRole:
        return entry.command->name;
    case Qt::AccessibleTextRole: {
        QStringList parts{entry.command->name, entry.command->category, keyText(registry_, *entry.command)};
        if (!entry.enabled)
            parts.append(entry.reason.isEmpty() ? tr("not available") : entry.reason);
        parts.removeAll(QString());
        return parts.join(QLatin1String(", "));
    }
    case marksRole: {
        QList<int> marks;
        for (const qsizetype mark : match_.marks(entry.name))
            marks.append(static_cast<int>(mark));
        return QVariant::fromValue(marks);
    }
    case categoryRole:
        return entry.command->category;
    case keysRole:
        return keyText(registry_, *entry.command);
    case reasonRole:
        return entry.enabled ? QVariant() : QVariant(entry.reason);
    default:
        return {};
    }
}

QSize CommandRowPainter::sizeHint(const QStyleOptionViewItem& option, const QModelIndex&) const
{
    return {0, option.fontMetrics.height() + 2 * rowPadding};
}

void CommandRowPainter::paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    const bool selected = option.state.testFlag(QStyle::State_Selected);
    const QVariant reason = index.data(CommandList::reasonRole);
    const QPalette& palette = option.palette;
    const QColor base = palette.color(selected ? QPalette::Highlight : QPalette::Base);
    const QColor text = palette.color(selected ? QPalette::HighlightedText : QPalette::Text);
    const QColor quiet = between(text, base, .35);
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    if (selected) {
        painter->setPen(Qt::NoPen);
        painter->setBrush(base);
        painter->drawRoundedRect(option.rect.adjusted(4, 1, -4, -1), 4, 4);
    }
    QRect rect = option.rect.adjusted(rowMargin + 4, 0, -rowMargin - 4, 0);
    painter->setFont(option.font);
    const auto side = [&](const QString& words, Qt::Alignment alignment) {
        painter->setPen(quiet);
        const QString fitting = option.fontMetrics.elidedText(words, Qt::ElideRight, rect.width());
        painter->drawText(rect, static_cast<int>(alignment | Qt::AlignVCenter | Qt::TextSingleLine), fitting);
    };
    const QString keys = index.data(CommandList::keysRole).toString();
    if (!keys.isEmpty()) {
        side(keys, Qt::AlignRight);
        rect.setRight(rect.right() - option.fontMetrics.horizontalAdvance(keys) - 2 * rowMargin);
    }

    QTextLayout layout(option.fontMetrics.elidedText(index.data().toString(), Qt::ElideRight, rect.width()),
                       option.font);
    QList<QTextLayout::FormatRange> formats;
    for (const int mark : index.data(CommandList::marksRole).value<QList<int>>()) {
        QTextCharFormat format;
        format.setFontWeight(QFont::Bold);
        if (!selected && !reason.isValid())
            format.setForeground(palette.color(QPalette::Link));
        formats.append({mark, 1, format});
    }
    layout.setFormats(formats);
    layout.beginLayout();
    QTextLine line = layout.createLine();
    layout.endLayout();
    painter->setPen(reason.isValid() ? quiet : text);
    layout.draw(painter, QPointF(rect.left(), rect.top() + (rect.height() - line.height()) / 2));

    rect.setLeft(rect.left() + static_cast<int>(line.naturalTextWidth()) + 2 * rowMargin);
    if (rect.width() > 0) {
        const QString category = index.data(CommandList::categoryRole).toString();
        const QString why = reason.toString();
        side(why.isEmpty() ? category : category + QStringLiteral(" · ") + why, Qt::AlignLeft);
    }
    painter->restore();
}

}  // namespace penmark
