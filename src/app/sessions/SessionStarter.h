// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "organization/SessionLibrary.h"

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace penmark {

class RecoveryBuffer;
class RecoveryStore;

/// A draft that a starter opens.
struct StarterDraft {
    std::optional<std::string> title;         ///< absent: the automatic one
    std::optional<std::string> languageName;  ///< absent: plain text
    std::optional<std::string> text;          ///< that it begins with
    UnknownMembers unknownMembers;

    static constexpr auto fields()
    {
        using R = StarterDraft;
        return std::tuple{field("title", &R::title), field("languageName", &R::languageName), field("text", &R::text)};
    }
    friend bool operator==(const StarterDraft&, const StarterDraft&) = default;
};

struct StarterWindow {
    std::vector<StarterDraft> drafts;  ///< its tabs in order; at least one is shown whatever is here
    std::optional<WindowPlacement> placement;
    std::optional<WindowPresentation> presentation;  ///< without what belongs to one library
    UnknownMembers unknownMembers;

    static constexpr bool absentFieldsKeepTheirValue = true;
    static constexpr auto fields()
    {
        using R = StarterWindow;
        return std::tuple{field("drafts", &R::drafts), field("placement", &R::placement),
                          field("presentation", &R::presentation)};
    }
    friend bool operator==(const StarterWindow&, const StarterWindow&) = default;
};

/// A way to start a session that the user has made from one. Kept among the settings.
struct SessionStarter {
    std::string name;
    std::vector<StarterWindow> windows;
    std::vector<std::string> projects;  ///< folders, absolute
    UnknownMembers unknownMembers;

    static constexpr bool absentFieldsKeepTheirValue = true;
    static constexpr auto fields()
    {
        using R = SessionStarter;
        return std::tuple{field("name", &R::name), field("windows", &R::windows), field("projects", &R::projects)};
    }
    friend bool operator==(const SessionStarter&, const SessionStarter&) = default;
};

/// Texts of starters are a few lines to begin with; longer ones do not belong into settings and are left out.
constexpr std::size_t starterTextLimit = 65'536;  // bytes

/// What a starter keeps of a document: of one with a file only its language. Any thread. Throws RecoveryError.
StarterDraft readStarterDraft(RecoveryStore& store, const Uuid& document, bool withText);
/// The same of a document in memory, as it is now.
StarterDraft starterDraftOf(const RecoveryBuffer& buffer, bool withText);

/// The layout of a session: its windows with as many drafts as they have tabs, and its projects. What `drafts` does not
/// have is an empty draft.
SessionStarter starterOf(const SessionLibrary& library, const PenmarkSession& session, std::string name,
                         const std::map<Uuid, StarterDraft>& drafts = {});

/// How a session is to start; the answer of NewSessionDialog.
struct SessionStart {
    enum class Kind {
        empty,
        notes,          ///< one draft
        projectFolder,  ///< `folder` as project
        writing,        ///< one Markdown draft
        logReview,      ///< `folder`
        checkpoint,     ///< `checkpoint` as copies
        layoutOf,       ///< of `session`, with empty drafts
        starter,        ///< `starter`
    };

    std::string name;  ///< empty: none
    std::optional<Uuid> parent;
    Kind kind = Kind::empty;
    std::filesystem::path folder;
    std::optional<Uuid> checkpoint;
    std::optional<Uuid> session;
    std::optional<SessionStarter> starter;
};

}  // namespace penmark
