// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/navigator/FilterWords.h"
#include "base/Uuid.h"

#include <QObject>
#include <string>
#include <unordered_map>
#include <vector>

namespace penmark {

class DocumentPreviews;
class DocumentRegistry;
class SessionRecords;

/// Finds the sessions whose name, documents' titles or beginnings of texts have all words of a filter.
///
/// What a document is found by is folded when it is first needed and kept until its header or its beginning changes: a
/// few hundred bytes each. Nothing is kept without words, or once the previews were forgotten. Main thread.
class SessionFilter final : public QObject {
public:
    /// All outlive the filter.
    SessionFilter(SessionRecords& records, DocumentRegistry& documents, DocumentPreviews& previews);

    void setWords(const QString& typed);
    bool isEmpty() const { return words_.empty(); }

    /// For each session of the library, in its order, whether it is found. Beginnings that have not been read are asked
    /// for; a session may be found once they are there.
    std::vector<bool> matches();

    /// Documents whose texts are kept.
    std::size_t keptCount() const { return kept_.size(); }
    /// Texts folded since the start, for tests that count work.
    std::size_t textsFolded() const { return textsFolded_; }

private:
    struct Text {
        std::string folded;  // the title and the beginning
        bool isStale = true;
    };
    using Kept = std::unordered_map<Uuid, Text>;
    struct Session {
        Uuid id;
        std::string name;  // folded
        std::vector<Kept::value_type*> documents;
    };

    bool hasSessionsOfLibrary() const;
    void readSessions();
    void readOpenDocuments();
    void textChanged(const Uuid& document);
    const std::string& textOf(Kept::value_type& document);
    bool matches(const Session& session);
    void clear();

    SessionRecords& records_;
    DocumentRegistry& documents_;
    DocumentPreviews& previews_;
    std::vector<FilterWords> words_;  // of one word each
    Kept kept_;
    std::vector<Session> sessions_;  // in the order of the library
    bool sessionsAreStale_ = true;
    std::vector<Uuid> open_;  // documents that were in memory at the last look, whose texts are as they were then
    std::size_t textsFolded_ = 0;
};

}  // namespace penmark
