// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/documents/DocumentHeaders.h"

#include <utility>

namespace penmark {

DocumentHeader DocumentHeader::of(const RecoveryDocument& document)
{
    DocumentHeader header;
    header.id = document.id;
    header.title = document.shownTitle();
    header.path = document.externalPath.value_or(std::string());
    header.createdAt = document.createdAt;
    header.updatedAt = document.updatedAt;
    header.deleted = document.deleted;
    header.missingOriginal = document.missingOriginal;
    return header;
}

DocumentHeader DocumentHeader::of(RecoveryDocumentHeader&& document)
{
    DocumentHeader header;
    header.id = document.id;
    header.title = document.displayTitle ? std::move(*document.displayTitle) : std::move(document.title);
    header.path = std::move(document.externalPath).value_or(std::string());
    header.createdAt = document.createdAt;
    header.updatedAt = document.updatedAt;
    header.deleted = document.deleted;
    header.missingOriginal = document.missingOriginal;
    return header;
}

std::optional<std::size_t> DocumentHeaderList::indexOf(const Uuid& id) const
{
    const auto found = lookup_.find(id);
    if (found == lookup_.end())
        return std::nullopt;
    return found->second;
}

std::size_t DocumentHeaderList::put(DocumentHeader header)
{
    const auto [at, isNew] = lookup_.try_emplace(header.id, headers_.size());
    if (isNew)
        headers_.push_back(std::move(header));
    else
        headers_[at->second] = std::move(header);
    return at->second;
}

void DocumentHeaderList::reserve(std::size_t count)
{
    headers_.reserve(count);
    lookup_.reserve(count);
}

const DocumentHeader* DocumentHeaders::find(const Uuid& id) const
{
    const auto index = list_.indexOf(id);
    return index ? &list_.all()[*index] : nullptr;
}

void DocumentHeaders::put(DocumentHeader header)
{
    const DocumentHeader* const before = find(header.id);
    if (before && *before == header)
        return;
    const bool isNew = !before;
    const std::size_t index = list_.put(std::move(header));
    if (isNew)
        emit added(index);
    else
        emit changed(index);
}

void DocumentHeaders::adopt(DocumentHeaderList list)
{
    if (list_.all().empty()) {
        list_ = std::move(list);
    } else {
        for (const DocumentHeader& header : list.all()) {
            if (!list_.indexOf(header.id))
                list_.put(header);
        }
    }
    loaded_ = true;
    emit loaded();
}

void DocumentHeaders::adopt(std::vector<DocumentHeader> headers)
{
    DocumentHeaderList list;
    list.reserve(headers.size());
    for (DocumentHeader& header : headers)
        list.put(std::move(header));
    adopt(std::move(list));
}

}  // namespace penmark
