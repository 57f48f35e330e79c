// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/navigator/NavigatorModel.h"

#include "app/navigator/DocumentSection.h"
#include "app/navigator/DraggedRows.h"
#include "app/navigator/ListedDate.h"

#include <QMimeData>
#include <algorithm>
#include <utility>

namespace penmark {
namespace {

QStringList badgeWords(int badges)
{
    QStringList words;
    if (badges & NavigatorRow::fileDiffers)
        words << NavigatorModel::tr("The file differs from the document");
    if (badges & NavigatorRow::missingOriginal)
        words << NavigatorModel::tr("The file is missing");
    return words;
}

}  // namespace

NavigatorModel::NavigatorModel(DocumentHeaders& headers, QObject* parent)
    : QAbstractItemModel(parent), catalog_(headers)
{
    qRegisterMetaType<Uuid>();
    qRegisterMetaType<QList<Uuid>>();
    openHere_ = new OpenHereSection(catalog_, this);
    addSection(openHere_);
    for (const auto kind :
         {DocumentSection::Kind::drafts, DocumentSection::Kind::recent, DocumentSection::Kind::discarded})
        addSection(new DocumentSection(kind, catalog_, this));
}

void NavigatorModel::addSection(NavigatorSection* section)
{
    int number = sectionCount();
    if (number > 0 && sections_.back()->word() == QLatin1String("discarded"))
        --number;
    section->setParent(this);
    beginInsertRows({}, number, number);
    sections_.insert(sections_.begin() + number, section);
    endInsertRows();
    connectSection(section);
}

void NavigatorModel::connectSection(NavigatorSection* section)
{
    const auto parent = [this, section] { return sectionIndex(numberOf(section)); };
    const auto headingChanged = [this, parent] { emit dataChanged(parent(), parent()); };
    connect(section, &NavigatorSection::insertingRows, this,
            [this, parent](int first, int last) { beginInsertRows(parent(), first, last); });
    connect(section, &NavigatorSection::insertedRows, this, [this, headingChanged] {
        endInsertRows();
        headingChanged();
    });
    connect(section, &NavigatorSection::removingRows, this,
            [this, parent](int first, int last) { beginRemoveRows(parent(), first, last); });
    connect(section, &NavigatorSection::removedRows, this, [this, headingChanged] {
        endRemoveRows();
        headingChanged();
    });
    connect(section, &NavigatorSection::movingRow, this, [this, parent](int from, int to) {
        beginMoveRows(parent(), from, from, parent(), to > from ? to + 1 : to);
    });
    connect(section, &NavigatorSection::movedRow, this, [this] { endMoveRows(); });
    connect(section, &NavigatorSection::changedRow, this, [this, parent](int row) {
        const QModelIndex changed = index(row, 0, parent());
        emit dataChanged(changed, changed);
    });
    connect(section, &NavigatorSection::changedHeading, this, headingChanged);
    connect(section, &NavigatorSection::renameAsked, this,
            [this, parent](int row) { emit renameAsked(index(row, 0, parent())); });
    connect(section, &NavigatorSection::failed, this, &NavigatorModel::failed);
    connect(section, &NavigatorSection::undoOffered, this, &NavigatorModel::undoOffered);
}

int NavigatorModel::numberOf(const NavigatorSection* section) const
{
    const auto at = std::find(sections_.begin(), sections_.end(), section);
    return at == sections_.end() ? -1 : static_cast<int>(at - sections_.begin());
}

NavigatorSection* NavigatorModel::sectionOf(const QModelIndex& index) const
{
    if (isSection(index))
        return sections_[static_cast<std::size_t>(index.row())];
    return static_cast<NavigatorSection*>(index.internalPointer());
}

void NavigatorModel::setOpenHere(std::vector<Uuid> documents)
{
    openHere_->setDocuments(std::move(documents));
}

void NavigatorModel::setCurrent(const std::optional<Uuid>& document)
{
    if (document == current_)
        return;
    const auto before = std::exchange(current_, document);
    for (int number = 0; number < sectionCount(); ++number)
        for (const auto& each : {before, current_}) {
            const int row = each ? section(number).rowOf(*each) : -1;
            const QModelIndex changed = index(row, 0, sectionIndex(number));
            if (changed.isValid())
                emit dataChanged(changed, changed);
        }
}

std::optional<NavigatorRow> NavigatorModel::row(const QModelIndex& index) const
{
    if (!index.isValid() || isSection(index))
        return std::nullopt;
    return sectionOf(index)->row(index.row());
}

std::optional<Uuid> NavigatorModel::document(const QModelIndex& index) const
{
    const auto found = row(index);
    return found ? found->document : std::nullopt;
}

QModelIndex NavigatorModel::index(int row, int column, const QModelIndex& parent) const
{
    if (column != 0 || row < 0 || row >= rowCount(parent))
        return {};
    return parent.isValid() ? createIndex(row, 0, sectionOf(parent)) : sectionIndex(row);
}

QModelIndex NavigatorModel::parent(const QModelIndex& child) const
{
    if (!child.isValid() || isSection(child))
        return {};
    return sectionIndex(numberOf(sectionOf(child)));
}

int NavigatorModel::rowCount(const QModelIndex& parent) const
{
    if (!parent.isValid())
        return sectionCount();
    return isSection(parent) ? section(parent.row()).rowCount() : 0;
}

QString NavigatorModel::spokenText(const NavigatorRow& row) const
{
    QStringList parts{row.title};
    if (isCurrent(row))
        parts << tr("in front");
    if (!row.state.isEmpty())
        parts << row.state;
    else if (!row.place.isEmpty())
        parts << row.place;
    if (row.date)
        parts << listedDate(*row.date, Date::now());
    if (row.isExpandable)
        parts << (row.isExpanded ? tr("expanded") : tr("collapsed"));
    return (parts + badgeWords(row.badges)).join(QLatin1String(", "));
}

QString NavigatorModel::toolTip(const NavigatorRow& row) const
{
    QStringList lines{row.title};
    if (!row.path.isEmpty())
        lines << row.path;
    else if (!row.document && !row.place.isEmpty())
        lines << row.place;
    for (QString& line : lines)
        line = line.toHtmlEscaped();
    return QLatin1String("<span>") + (lines + badgeWords(row.badges)).join(QLatin1String("<br>")) +
           QLatin1String("</span>");
}

QVariant NavigatorModel::data(const QModelIndex& index, int role) const
{
    if (isSection(index)) {
        const NavigatorSection& shown = section(index.row());
        if (role == Qt::AccessibleTextRole)
            return tr("%1, %2", "heading, how many").arg(shown.heading(), shown.countText());
        return role == Qt::DisplayRole ? shown.heading() : QVariant();
    }
    const bool isText = role == Qt::DisplayRole || role == Qt::EditRole;
    if (!index.isValid() || (!isText && role != Qt::AccessibleTextRole && role != Qt::ToolTipRole))
        return {};
    const NavigatorRow shown = *row(index);
    if (role == Qt::EditRole)
        return shown.name.value_or(shown.title);
    if (isText)
        return shown.title;
    return role == Qt::ToolTipRole ? toolTip(shown) : spokenText(shown);
}

bool NavigatorModel::setData(const QModelIndex& index, const QVariant& value, int role)
{
    const auto shown = row(index);
    if (role != Qt::EditRole || !shown || !shown->canRename)
        return false;
    const QString typed = value.toString();
    if (typed == shown->name.value_or(shown->title))
        return true;
    if (!shown->document)
        sectionOf(index)->rename(index.row(), typed);
    else if (const QString title = typed.simplified(); title != shown->title)
        emit renamed(*shown->document, title);
    return true;
}

Qt::ItemFlags NavigatorModel::flags(const QModelIndex& index) const
{
    if (!index.isValid())
        return {};
    if (isSection(index))
        return Qt::ItemIsEnabled;
    const Qt::ItemFlags plain = Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemNeverHasChildren;
    // Views ask this of every row when they lay out; what only some can do is checked when it is done.
    return plain | Qt::ItemIsDragEnabled | Qt::ItemIsEditable;
}

QStringList NavigatorModel::mimeTypes() const
{
    return {QLatin1String(DraggedRows::documentsFormat), QLatin1String(DraggedRows::rowsFormat),
            QLatin1String(DraggedRows::tabFormat)};
}

QMimeData* NavigatorModel::mimeData(const QModelIndexList& indexes) const
{
    DraggedRows dragged;
    for (const QModelIndex& each : indexes)
        if (each.isValid() && !isSection(each))
            sectionOf(each)->drag(each.row(), dragged);
    if (dragged.isEmpty())
        return nullptr;
    auto* const data = new QMimeData;
    dragged.write(*data);
    return data;
}

bool NavigatorModel::canDrop(const QMimeData& data, const QModelIndex& index) const
{
    if (!index.isValid())
        return false;
    const DraggedRows dragged = DraggedRows::read(data);
    return !dragged.isEmpty() && sectionOf(index)->canDrop(dragged, isSection(index) ? -1 : index.row());
}

void NavigatorModel::drop(const QMimeData& data, const QModelIndex& index)
{
    if (canDrop(data, index))
        sectionOf(index)->drop(DraggedRows::read(data), isSection(index) ? -1 : index.row());
}

}  // namespace penmark
