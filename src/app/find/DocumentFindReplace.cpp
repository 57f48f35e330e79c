// SPDX-License-Identifier: GPL-3.0-or-later
// What DocumentFind replaces.
#include "app/documents/PoolWork.h"
#include "app/editor/EditorView.h"
#include "app/find/DocumentFind.h"

#include <QLocale>
#include <utility>

namespace penmark {

bool DocumentFind::mayEdit()
{
    if (!view_ || rule_.query.empty())
        return false;
    if (view_->isReadOnly())
        emit message(tr("This document cannot be edited now."));
    return !view_->isReadOnly();
}

void DocumentFind::cancelReplacing()
{
    replaceStop_.request_stop();
    ++replaceSerial_;
    replacing_ = false;
    replacesAll_ = false;
    waitingReplaces_ = 0;
}

void DocumentFind::replace(const std::string& with)
{
    if (!mayEdit())
        return;
    with_ = with;
    notePlace();
    if (replacing_ || running_)
        ++waitingReplaces_;
    else if (const std::optional<std::size_t> here = currentIndex())
        replaceHere(*here);
    else
        next();
}

void DocumentFind::goOnReplacing()
{
    if (waitingReplaces_ == 0 || replacing_ || running_)
        return;
    --waitingReplaces_;
    replace(with_);
}

void DocumentFind::replaceHere(std::size_t index)
{
    replacing_ = true;
    replaceStop_ = {};
    const Utf8Range match = part_.matches[index];
    inPool(
        this,
        [text = document_->text(), query = FindQuery{rule_, within_}, match, with = with_,
         stop = replaceStop_.get_token()] { return replaceMatch(text, query, match, with, stop); },
        [this, serial = replaceSerial_, match](const FindReplacement& replacement) {
            if (serial == replaceSerial_)
                replaced(match, replacement);
        });
}

void DocumentFind::replaced(Utf8Range match, const FindReplacement& replacement)
{
    replacing_ = false;
    if (!view_)
        return;
    if (!replacement.problem.empty()) {
        waitingReplaces_ = 0;
        emit message(QString::fromStdString(replacement.problem));
        return;
    }
    if (replacement.isStale) {
        ++steps_;
        searchNear();
        return;
    }
    if (!mayEdit()) {
        waitingReplaces_ = 0;
        return;
    }
    const Utf8Offset end = replacement.result.carets.main().end();
    perform({replacement.result.edit, CaretSet(Caret(end))});
    if (const std::size_t own = firstAtOrBehind(part_.matches, match.start);
        own < part_.matches.size() && part_.matches[own].end <= end && !part_.matches[own].empty())
        part_.matches.erase(part_.matches.begin() + static_cast<std::ptrdiff_t>(own));
    showMarks();
    // The others have moved along with the text, so there is no need to wait for them to be found again.
    if (const std::size_t index = firstAtOrBehind(part_.matches, end); index < part_.matches.size()) {
        select(index);
        keepOrigin();
    } else {
        ++steps_;
        searchNear();
    }
    emit changed();
    goOnReplacing();
}

void DocumentFind::replaceAll(const std::string& with)
{
    if (!mayEdit())
        return;
    cancelReplacing();
    replacing_ = true;
    replacesAll_ = true;
    replaceStop_ = {};
    const CaretSet& carets = view_->editor().carets();
    inPool(
        this,
        [text = document_->text(), carets, query = FindQuery{rule_, within_}, with, stop = replaceStop_.get_token()] {
            return replaceAllMatches(text, carets, query, with, stop);
        },
        [this, serial = replaceSerial_, asOf = generation(), carets, with](const FindReplacement& replacement) {
            if (serial != replaceSerial_)
                return;
            replacing_ = false;
            replacesAll_ = false;
            waitingReplaces_ = 0;  // single ones that were asked for meanwhile are among them
            if (view_ && asOf != generation())
                replaceAll(with);  // for somebody has typed
            else if (view_)
                allReplaced(carets, replacement);
        });
}

void DocumentFind::allReplaced(const CaretSet& before, const FindReplacement& replacement)
{
    if (!replacement.problem.empty()) {
        emit message(QString::fromStdString(replacement.problem));
        return;
    }
    if (replacement.count == 0) {
        emit message(tr("No results"));
        return;
    }
    if (!mayEdit())
        return;
    const CaretSet& now = view_->editor().carets();
    CaretSet after = now == before ? replacement.result.carets : now.mapped(replacement.result.edit);
    // What was found is there no more, and what took its place is not to be looked for next.
    if (standsOnMatch())
        after = CaretSet(Caret(after.main().end()));
    forgetMatches();  // each of them would have to be moved
    perform({replacement.result.edit, after});
    emit message(tr("%1 replaced").arg(QLocale().toString(static_cast<qulonglong>(replacement.count))));
    if (follows_)
        searchNear();
}

}  // namespace penmark
