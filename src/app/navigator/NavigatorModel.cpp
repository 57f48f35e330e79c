// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/navigator/NavigatorModel.h"

#include "app/navigator/DocumentSection.h"
#include "app/navigator/ListedDate.h"

#include <QMimeData>
#include <set>
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

const char* const NavigatorModel::mimeType = "application/x-penmark-documents";

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
    const int number = sectionCount();
    section->setParent(this);
    beginInsertRows({}, number, number);
    sections_.push_back(section);
    endInsertRows();

    const auto headingChanged = [this, number] { emit dataChanged(sectionIndex(number), sectionIndex(number)); };
    connect(section, &NavigatorSection::insertingRows, this,
            [this, number](int first, int last) { beginInsertRows(sectionIndex(number), first, last); });
    connect(section, &NavigatorSection::insertedRows, this, [this, headingChanged] {
        endInsertRows();
        headingChanged();
    });
    connect(section, &NavigatorSection::removingRows, this,
            [this, number](int first, int last) { beginRemoveRows(sectionIndex(number), first, last); });
    connect(section, &NavigatorSection::removedRows, this, [this, headingChanged] {
        endRemoveRows();
        headingChanged();
    });
    connect(section, &NavigatorSection::movingRow, this, [this, number](int from, int to) {
        const QModelIndex parent = sectionIndex(number);
        beginMoveRows(parent, from, from, parent, to > from ? to + 1 : to);
    });
    connect(section, &NavigatorSection::movedRow, this, [this] { endMoveRows(); });
    connect(section, &NavigatorSection::changedRow, this, [this, number](int row) {
        const QModelIndex changed = index(row, 0, sectionIndex(number));
        emit dataChanged(changed, changed);
    });
    connect(section, &NavigatorSection::changedHeading, this, headingChanged);
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
    return section(static_cast<int>(index.internalId()) - 1).row(index.row());
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
    return parent.isValid() ? createIndex(row, 0, static_cast<quintptr>(parent.row()) + 1) : sectionIndex(row);
}

QModelIndex NavigatorModel::parent(const QModelIndex& child) const
{
    if (!child.isValid() || isSection(child))
        return {};
    return sectionIndex(static_cast<int>(child.internalId()) - 1);
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
    if (!row.place.isEmpty())
        parts << row.place;
    if (row.date)
        parts << listedDate(*row.date, Date::now());
    return (parts + badgeWords(row.badges)).join(QLatin1String(", "));
}

QString NavigatorModel::toolTip(const NavigatorRow& row) const
{
    QStringList lines{row.title};
    if (!row.path.isEmpty())
        lines << row.path;
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
            return shown.count() == 1 ? tr("%1, 1 document").arg(shown.heading())
                                      : tr("%1, %2 documents").arg(shown.heading()).arg(shown.count());
        return role == Qt::DisplayRole ? shown.heading() : QVariant();
    }
    const bool isText = role == Qt::DisplayRole || role == Qt::EditRole;
    if (!index.isValid() || (!isText && role != Qt::AccessibleTextRole && role != Qt::ToolTipRole))
        return {};
    const NavigatorRow shown = *row(index);
    if (isText)
        return shown.title;
    return role == Qt::ToolTipRole ? toolTip(shown) : spokenText(shown);
}

bool NavigatorModel::setData(const QModelIndex& index, const QVariant& value, int role)
{
    const auto shown = row(index);
    if (role != Qt::EditRole || !shown || !shown->canRename)
        return false;
    const QString title = value.toString().simplified();
    if (title != shown->title)
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
    // Views ask this of every row when they lay out; what only a document can do is checked when it is done.
    return plain | Qt::ItemIsDragEnabled | Qt::ItemIsEditable;
}

QStringList NavigatorModel::mimeTypes() const
{
    return {QLatin1String(mimeType)};
}

QMimeData* NavigatorModel::mimeData(const QModelIndexList& indexes) const
{
    QByteArray lines;
    for (const QModelIndex& each : indexes)
        if (const auto id = document(each))
            lines += QByteArray::fromStdString(id->text()) + '\n';
    if (lines.isEmpty())
        return nullptr;
    auto* const data = new QMimeData;
    data->setData(QLatin1String(mimeType), lines);
    return data;
}

QList<Uuid> NavigatorModel::read(const QMimeData& data)
{
    QList<Uuid> ids;
    std::set<Uuid> known;
    for (const QByteArray& line : data.data(QLatin1String(mimeType)).split('\n'))
        if (const auto id = Uuid::parse(line.toStdString()); id && known.insert(*id).second)
            ids << *id;
    return ids;
}

}  // namespace penmark
