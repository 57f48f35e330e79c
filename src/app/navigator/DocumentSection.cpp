// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/navigator/DocumentSection.h"

#include "app/navigator/DraggedRows.h"
#include "app/navigator/ReplaceRows.h"

#include <QDir>
#include <QFileInfo>
#include <algorithm>
#include <utility>

namespace penmark {

QString shownPath(const QString& path)
{
    const QString home = QDir::homePath();
    if (path == home || path.startsWith(home + QLatin1Char('/')))
        return QLatin1Char('~') + path.mid(home.size());
    return path.isEmpty() ? QStringLiteral("/") : path;
}

NavigatorRow navigatorRow(const DocumentHeader& header)
{
    NavigatorRow row;
    row.document = header.id;
    row.title = QString::fromStdString(header.title);
    row.path = QString::fromStdString(header.path);
    row.place =
        header.path.empty() ? DocumentSection::tr("Draft") : shownPath(row.path.section(QLatin1Char('/'), 0, -2));
    row.date = header.updatedAt;
    row.badges = (header.fileDiffers ? NavigatorRow::fileDiffers : 0) |
                 (header.missingOriginal ? NavigatorRow::missingOriginal : 0);
    row.isDiscarded = header.deleted;
    row.canRename = true;
    return row;
}

DocumentSection::DocumentSection(Kind kind, DocumentCatalog& catalog, QObject* parent)
    : NavigatorSection(parent), kind_(kind), catalog_(catalog)
{
    connect(&catalog_, &DocumentCatalog::rearranged, this, &DocumentSection::rebuild);
    connect(&catalog_, &DocumentCatalog::aboutToChange, this, &DocumentSection::rememberRow);
    connect(&catalog_, &DocumentCatalog::changed, this, &DocumentSection::follow);
    rebuild();
}

QString DocumentSection::word() const
{
    switch (kind_) {
    case Kind::drafts:
        return QStringLiteral("drafts");
    case Kind::recent:
        return QStringLiteral("recent");
    case Kind::discarded:
        break;
    }
    return QStringLiteral("discarded");
}

QString DocumentSection::heading() const
{
    switch (kind_) {
    case Kind::drafts:
        return tr("Drafts");
    case Kind::recent:
        return catalog_.order() == DocumentCatalog::Order::recent ? tr("Recent") : tr("All Documents");
    case Kind::discarded:
        break;
    }
    return tr("Discarded");
}

bool DocumentSection::accepts(Place place) const
{
    const DocumentHeader& header = catalog_.header(place);
    if (header.deleted != (kind_ == Kind::discarded) || !catalog_.isMatch(place))
        return false;
    return kind_ != Kind::drafts || header.path.empty();
}

NavigatorRow DocumentSection::row(int row) const
{
    if (!hasMessage_)
        return navigatorRow(catalog_.header(rows_[static_cast<std::size_t>(row)]));
    NavigatorRow message;
    message.kind = NavigatorRow::Kind::message;
    message.title = tr("Nothing here. Ctrl+N starts a draft; it is kept without a file.");
    return message;
}

int DocumentSection::rowOf(const Uuid& document) const
{
    const auto place = catalog_.headers().indexOf(document);
    return place ? find(static_cast<Place>(*place)) : -1;
}

void DocumentSection::drag(int row, DraggedRows& dragged) const
{
    if (!hasMessage_)
        dragged.documents.push_back(catalog_.header(rows_[static_cast<std::size_t>(row)]).id);
}

int DocumentSection::find(Place place) const
{
    const auto at = std::lower_bound(rows_.begin(), rows_.end(), place,
                                     [this](Place one, Place other) { return catalog_.isBefore(one, other); });
    return at != rows_.end() && *at == place ? static_cast<int>(at - rows_.begin()) : -1;
}

void DocumentSection::rebuild()
{
    std::vector<Place> wanted;
    wanted.reserve(catalog_.ordered().size());
    for (const Place place : catalog_.ordered())
        if (accepts(place))
            wanted.push_back(place);
    setMessage(false);
    replaceRows(*this, rows_, std::move(wanted));
    setMessage(wantsMessage());
    emit changedHeading();
}

/// The others are in order; only this one may be out of it.
void DocumentSection::follow(std::uint32_t place)
{
    const int old = std::exchange(oldRow_, -1);
    const bool belongs = accepts(place);
    if (old < 0 && !belongs)
        return;
    const auto before = [this](Place one, Place other) { return catalog_.isBefore(one, other); };
    const auto begin = rows_.begin();
    if (old < 0) {
        setMessage(false);
        const auto at = std::lower_bound(rows_.begin(), rows_.end(), place, before);
        const int row = static_cast<int>(at - rows_.begin());
        emit insertingRows(row, row);
        rows_.insert(at, place);
        emit insertedRows();
    } else if (!belongs) {
        emit removingRows(old, old);
        rows_.erase(begin + old);
        emit removedRows();
        setMessage(wantsMessage());
    } else {
        auto at = std::lower_bound(begin, begin + old, place, before);
        if (at == begin + old)
            at = std::lower_bound(begin + old + 1, rows_.end(), place, before) - 1;
        const int row = static_cast<int>(at - begin);
        if (row != old) {
            emit movingRow(old, row);
            if (row < old)
                std::rotate(begin + row, begin + old, begin + old + 1);
            else
                std::rotate(begin + old, begin + old + 1, begin + row + 1);
            emit movedRow();
        }
        emit changedRow(row);
    }
}

bool DocumentSection::wantsMessage() const
{
    return kind_ == Kind::drafts && rows_.empty() && catalog_.words().isEmpty() && catalog_.headers().isLoaded();
}

void DocumentSection::setMessage(bool has)
{
    if (has == hasMessage_)
        return;
    if (has)
        emit insertingRows(0, 0);
    else
        emit removingRows(0, 0);
    hasMessage_ = has;
    if (has)
        emit insertedRows();
    else
        emit removedRows();
}

OpenHereSection::OpenHereSection(DocumentCatalog& catalog, QObject* parent)
    : NavigatorSection(parent), catalog_(catalog)
{
    connect(&catalog_, &DocumentCatalog::rearranged, this, &OpenHereSection::rebuild);
    connect(&catalog_, &DocumentCatalog::changed, this, &OpenHereSection::follow);
}

void OpenHereSection::setDocuments(std::vector<Uuid> documents)
{
    documents_ = std::move(documents);
    rebuild();
}

NavigatorRow OpenHereSection::row(int row) const
{
    return navigatorRow(*catalog_.headers().find(rows_[static_cast<std::size_t>(row)]));
}

int OpenHereSection::rowOf(const Uuid& document) const
{
    const auto at = std::find(rows_.begin(), rows_.end(), document);
    return at == rows_.end() ? -1 : static_cast<int>(at - rows_.begin());
}

void OpenHereSection::drag(int row, DraggedRows& dragged) const
{
    dragged.documents.push_back(rows_[static_cast<std::size_t>(row)]);
}

void OpenHereSection::rebuild()
{
    std::vector<Uuid> wanted;
    for (const Uuid& document : documents_) {
        const auto place = catalog_.headers().indexOf(document);
        if (place && catalog_.isMatch(static_cast<DocumentCatalog::Place>(*place)))
            wanted.push_back(document);
    }
    replaceRows(*this, rows_, std::move(wanted));
}

void OpenHereSection::follow(std::uint32_t place)
{
    const Uuid& id = catalog_.header(place).id;
    if (std::find(documents_.begin(), documents_.end(), id) == documents_.end())
        return;
    rebuild();
    if (const int row = rowOf(id); row >= 0)
        emit changedRow(row);
}

}  // namespace penmark
