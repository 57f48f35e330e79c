// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/documents/DocumentHeaders.h"
#include "app/navigator/NavigatorModel.h"
#include "app/navigator/PreviewSource.h"

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

namespace penmark {

inline Uuid numbered(int number)
{
    char text[37];
    std::snprintf(text, sizeof text, "%08X-0000-4000-8000-000000000000", static_cast<unsigned>(number) + 1);
    return *Uuid::parse(text);
}

/// A document that was created and stored at a moment of that number.
inline DocumentHeader header(int number, std::string title, std::string path = {})
{
    DocumentHeader made;
    made.id = numbered(number);
    made.title = std::move(title);
    made.path = std::move(path);
    made.createdAt = {number * 1000.0};
    made.updatedAt = {number * 1000.0};
    return made;
}

/// The section's rows as "a, b"; what is no document in parentheses.
inline std::string dump(const NavigatorSection& section)
{
    std::string list;
    for (int number = 0; number < section.rowCount(); ++number) {
        const NavigatorRow row = section.row(number);
        const std::string title = row.title.toStdString();
        list += (list.empty() ? "" : ", ") + (row.document ? title : "(" + title + ")");
    }
    return list;
}

enum SectionNumber { openHere, drafts, recent, discarded };

inline QModelIndex indexIn(const NavigatorModel& model, SectionNumber section, int row)
{
    return model.index(row, 0, model.index(section, 0));
}

/// Answers when the test says so.
class HeldPreviews final : public PreviewSource {
public:
    struct Request {
        std::vector<Uuid> ids;
        Answer answer;
    };
    std::vector<Request> requests;

    void readPreviews(std::vector<Uuid> ids, Answer answer) override
    {
        requests.push_back({std::move(ids), std::move(answer)});
    }
};

}  // namespace penmark
