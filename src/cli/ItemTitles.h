// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "organization/SessionLibrary.h"

#include <span>
#include <string>
#include <unordered_map>

namespace penmark {

class RecoveryStore;

}

namespace penmark::cli {

/// How documents, windows, sessions and workspaces are called. Names are optional, so what is in them stands for one
/// that is missing. Reads the titles of those documents that are asked for, each once: some 20 microseconds.
class ItemTitles {
public:
    explicit ItemTitles(RecoveryStore& store) : store_(store) {}

    /// The document is called so, whatever its record says.
    void set(const Uuid& document, std::string title);

    /// As lists show it; "New Draft" of one that was never written to. Never empty.
    const std::string& ofDocument(const Uuid& document);

    /// Of the tab in front, and how many there are beside it: "notes.md +2". "Empty window" without tabs.
    std::string ofWindow(const RecoveryWindow& window);

    /// The name, or "notes.md, todo, +4"; "Empty session" without documents.
    std::string ofSession(const PenmarkSession& session);

    /// The same of what it links; "Workspace" if nothing of that is there.
    std::string ofWorkspace(const SessionLibrary& library, const PenmarkWorkspace& workspace);

private:
    std::string joined(std::span<const Uuid> documents);

    RecoveryStore& store_;  // outlives this object
    std::unordered_map<Uuid, std::string> known_;
};

}  // namespace penmark::cli
