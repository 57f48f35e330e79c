// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/sessions/SessionFilter.h"

#include "app/documents/DocumentRegistry.h"
#include "app/documents/SessionRecords.h"
#include "app/sessions/DocumentPreviews.h"
#include "app/sessions/SessionTitles.h"
#include "organization/Sessions.h"

#include <algorithm>
#include <utility>

namespace penmark {

SessionFilter::SessionFilter(SessionRecords& records, DocumentRegistry& documents, DocumentPreviews& previews)
    : records_(records), documents_(documents), previews_(previews)
{
    const DocumentHeaders& headers = documents_.headers();
    const auto headerChanged = [this](std::size_t index) { textChanged(documents_.headers().all()[index].id); };
    connect(&records_, &SessionRecords::changed, this, [this] { sessionsAreStale_ = true; });
    connect(&headers, &DocumentHeaders::added, this, headerChanged);
    connect(&headers, &DocumentHeaders::changed, this, headerChanged);
    connect(&headers, &DocumentHeaders::loaded, this, [this] { clear(); });
    connect(&previews_, &DocumentPreviews::forgotten, this, [this] { clear(); });
    connect(&previews_, &DocumentPreviews::changed, this, [this](const std::vector<Uuid>& read) {
        for (const Uuid& document : read)
            textChanged(document);
    });
}

void SessionFilter::setWords(const QString& typed)
{
    words_.clear();
    const QString folded = QString::fromStdString(foldForFilter(typed.toStdString())).simplified();
    for (const QString& word : folded.split(QLatin1Char(' '), Qt::SkipEmptyParts))
        words_.emplace_back(word);
    if (isEmpty())
        clear();
}

void SessionFilter::clear()
{
    sessions_ = {};
    sessionsAreStale_ = true;
    open_ = {};
    kept_ = {};
}

void SessionFilter::textChanged(const Uuid& document)
{
    if (const auto found = kept_.find(document); found != kept_.end())
        found->second.isStale = true;
}

/// A collected window may come with a session before it is told of.
bool SessionFilter::hasSessionsOfLibrary() const
{
    const auto& library = records_.library().sessions;
    return !sessionsAreStale_ &&
           std::equal(sessions_.begin(), sessions_.end(), library.begin(), library.end(),
                      [](const Session& known, const PenmarkSession& session) { return known.id == session.id; });
}

void SessionFilter::readSessions()
{
    Kept before = std::exchange(kept_, {});
    sessions_.clear();
    sessions_.reserve(records_.library().sessions.size());
    std::size_t tabs = 0;
    for (const PenmarkSession& session : records_.library().sessions) {
        for (const RecoveryWindow& window : session.windows)
            tabs += window.documents.size();
    }
    kept_.reserve(tabs);
    for (const PenmarkSession& session : records_.library().sessions) {
        Session& known = sessions_.emplace_back();
        known.id = session.id;
        known.name = foldForFilter(session.name.value_or(""));
        for (const Uuid& document : documentsOf(session)) {
            const auto [place, isNew] = kept_.try_emplace(document);
            if (const auto had = isNew ? before.find(document) : before.end(); had != before.end())
                place->second = std::move(had->second);
            known.documents.push_back(&*place);
        }
    }
    sessionsAreStale_ = false;
}

/// Texts in memory change without being told of here.
void SessionFilter::readOpenDocuments()
{
    for (const Uuid& document : open_)
        textChanged(document);
    open_.clear();
    for (const RecoveryBuffer* const buffer : documents_.buffers()) {
        open_.push_back(buffer->id());
        textChanged(buffer->id());
    }
}

const std::string& SessionFilter::textOf(Kept::value_type& document)
{
    auto& [id, text] = document;
    if (std::exchange(text.isStale, false)) {
        ++textsFolded_;
        text.folded =
            foldForFilter(documentTitle(documents_, id).toStdString() + '\n' + previews_.beginning(id).toStdString());
    }
    return text.folded;
}

bool SessionFilter::matches(const Session& session)
{
    const auto isFound = [&](const FilterWords& word) {
        return word.match(session.name, {}) ||
               std::any_of(session.documents.begin(), session.documents.end(),
                           [&](Kept::value_type* document) { return word.match(textOf(*document), {}); });
    };
    return std::all_of(words_.begin(), words_.end(), isFound);
}

std::vector<bool> SessionFilter::matches()
{
    if (isEmpty())
        return std::vector<bool>(records_.library().sessions.size(), true);
    if (!hasSessionsOfLibrary())
        readSessions();
    readOpenDocuments();
    std::vector<bool> found;
    found.reserve(sessions_.size());
    for (const Session& session : sessions_)
        found.push_back(matches(session));
    return found;
}

}  // namespace penmark
