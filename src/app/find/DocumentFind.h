// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/find/FindJob.h"
#include "text/TextBuffer.h"

#include <QObject>
#include <QPointer>
#include <QTimer>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

namespace penmark {

class EditorDocument;
class EditorView;

/// Finds and replaces in the text of a view: which matches there are, which of them is selected, and the way from one
/// to the next. All that grows with the text happens on other threads; what is asked for before their answer is there
/// is done once it is, unless somebody edits the text or moves the caret before: nothing is taken from under their
/// hands. Replacing all goes on after an edit. One search runs at a time, and another rule or an edit stops it.
///
/// Of a text with very many matches it knows the part around the caret.
/// Threads: the window's.
class DocumentFind final : public QObject, private TextObserver {
    Q_OBJECT

public:
    static constexpr std::size_t partSize = 100'000;

    explicit DocumentFind(QObject* parent = nullptr, std::size_t matchesAtOnce = partSize);
    ~DocumentFind() override;

    /// Null: none. The document outlives this object, or the view is taken away before.
    void setView(EditorView* view);
    EditorView* view() const;

    /// Of the rule count its query, its mode and whether case and whole words matter. Nothing is found of an empty
    /// query. The carets stay where they are.
    void setRule(TextSearchRule rule);
    const TextSearchRule& rule() const { return rule_; }

    /// Whether matches are marked in the view, and looked for again a moment after each edit. Otherwise they are looked
    /// for when the next one is wanted.
    void setFollows(bool follows);

    /// Confines all of this to what somebody has selected, as it is now, also if a match that was gone to is selected
    /// since; goes to the first match in it. The range grows and shrinks with edits, and is marked in the view. It ends
    /// with another text. Without a selection nothing changes but that message() says so.
    void setInSelection(bool inSelection);
    const std::optional<Utf8Range>& within() const { return within_; }
    /// What is selected has become a query, and is no place to search in.
    void forgetSelection() { selected_.reset(); }

    /// The carets of now are where goToFirst() begins, until they are moved or next() or previous() has gone elsewhere.
    void setOrigin();
    /// Another rule, whose first match at or behind the origin is selected; without any the carets are there again.
    void goToFirst(TextSearchRule rule);
    /// From the main caret; goes on at the other end of the text, and says so.
    void next() { step(1); }
    void previous() { step(-1); }

    /// Replaces the match that is selected, and goes to the next. Without one it only goes there.
    void replace(const std::string& with);
    /// One step of undoing; message() says how many. Another rule stops it.
    void replaceAll(const std::string& with);
    /// Gives up whatever has been asked for.
    void stop();

    /// Whether matches() are still those of another rule or text.
    bool isSearching() const { return running_; }
    /// Whether nothing is under way that was asked for.
    bool isIdle() const { return !running_ && !replacing_ && !timer_.isActive(); }
    /// Whether they are those of this rule in this text.
    bool isFresh() const;
    /// In the part of the text that is known; moved along with edits until they have been looked for again.
    const std::vector<Utf8Range>& matches() const { return part_.matches; }
    struct Count {
        std::optional<std::size_t> current;  ///< the number of the match that is selected, from 1
        std::size_t total = 0;
        bool more = false;  ///< there are more than `total`
        friend bool operator==(const Count&, const Count&) = default;
    };
    Count count() const;
    /// Whether what is selected is a match, or has been gone to as one.
    bool standsOnMatch() const;
    /// The sentence why matches are missing; empty if none are.
    const std::string& problem() const { return part_.problem; }

signals:
    void changed();  ///< anything of the above, and which match is selected
    void message(const QString& sentence);

private:
    void textChanged(const TextChange& change) override;
    void caretsMoved();
    void dropWishes();
    void placeCarets(const CaretSet& carets);
    void perform(const EditResult& result);
    void notePlace();
    void noteSelection();
    void keepOrigin();
    void step(int direction);
    void takeSteps();
    void takeStep(int direction);
    void search(FindTarget target);
    void searchNear();
    void cancelSearch();
    void take(FindPart part);
    static std::size_t firstAtOrBehind(const std::vector<Utf8Range>& matches, Utf8Offset place);
    void selectFirst();
    void select(std::size_t index);
    void selectNumber(std::size_t number);
    void goToStart();
    void sayWrapped(int direction);
    void sayNothing();
    void replaceHere(std::size_t index);
    void replaced(Utf8Range match, const FindReplacement& replacement);
    void allReplaced(const CaretSet& before, const FindReplacement& replacement);
    void goOnReplacing();
    void cancelReplacing();
    bool mayEdit();
    void showMarks();
    void forgetMatches();
    std::optional<std::size_t> currentIndex() const;
    bool isKnownAround(Utf8Offset place) const;
    std::uint64_t generation() const;

    std::size_t partSize_;
    QPointer<EditorView> view_;
    EditorDocument* document_ = nullptr;
    TextSearchRule rule_;
    bool follows_ = false;
    std::optional<Utf8Range> within_;
    std::optional<Utf8Range> selected_;  // by somebody, not by going to a match
    std::optional<Utf8Range> wentTo_;

    FindPart part_;
    std::optional<std::uint64_t> freshFor_;  // generation; none: of another rule
    QTimer timer_;                           // until matches are looked for again
    std::chrono::milliseconds lastDuration_{};
    bool running_ = false;
    std::stop_source searchStop_;
    std::uint64_t searchSerial_ = 0;

    // What is to be done once the matches are there.
    std::optional<CaretSet> origin_;
    bool wantsFirst_ = false;
    int steps_ = 0;
    std::optional<std::size_t> wanted_;  // the number of a match in another part
    Utf8Range askedAt_;                  // what was selected then
    bool isActing_ = false;              // edits and moves are its own

    std::string with_;
    bool replacing_ = false;
    bool replacesAll_ = false;
    std::size_t waitingReplaces_ = 0;  // asked for while one runs
    std::stop_source replaceStop_;
    std::uint64_t replaceSerial_ = 0;
};

}  // namespace penmark
