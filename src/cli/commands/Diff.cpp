// SPDX-License-Identifier: GPL-3.0-or-later
#include "cli/Command.h"
#include "cli/DisplayText.h"
#include "cli/DocumentAccess.h"
#include "cli/IdPrefix.h"
#include "cli/Interruption.h"
#include "organization/DocumentHistory.h"
#include "organization/UnifiedDiff.h"
#include "storage/RecoveryError.h"

namespace penmark::cli {

namespace {

// As `patch` reads it: a name up to the tab, then a date.
std::string labelOf(const RecoveryDocument& document, const RecoveryRevision& revision)
{
    return escapedField(document.shownTitle()) + "\t" + revision.createdAt.localText();
}

Colour colourOf(UnifiedDiffLine kind)
{
    switch (kind) {
    case UnifiedDiffLine::removed:
        return Colour::red;
    case UnifiedDiffLine::added:
        return Colour::green;
    case UnifiedDiffLine::place:
        return Colour::cyan;
    case UnifiedDiffLine::earlierLabel:
    case UnifiedDiffLine::currentLabel:
    case UnifiedDiffLine::unchanged:
    case UnifiedDiffLine::noLineFeed:
        return Colour::plain;
    }
    return Colour::plain;
}

}  // namespace

int commands::diff(CommandContext& context, const Arguments& arguments)
{
    const IdPrefix typed(arguments.operands()[0]);
    const IdPrefix typedEarlier(arguments.operands()[1]);
    std::optional<IdPrefix> typedLater;
    if (const auto later = arguments.operand(2))
        typedLater.emplace(*later);

    RecoveryStore& store = context.openLibrary();
    const DocumentStore documents(store);
    const RecoveryDocument document = requireDocument(documents, typed.findDocument(store));
    const RecoveryRevision earlier = requireRevision(documents, typedEarlier.findRevision(store, document.id));
    // There is a revision, so there is a newest one.
    const RecoveryRevision later = typedLater ? requireRevision(documents, typedLater->findRevision(store, document.id))
                                              : documents.loadHead(document).value();
    if (earlier.contentHash == later.contentHash)
        return 0;
    const ContentStore content(store);
    const std::string earlierLabel = labelOf(document, earlier);
    const std::string laterLabel = labelOf(document, later);
    const UnifiedDiffResult result =
        writeUnifiedDiff(content.loadText(earlier.contentHash), content.loadText(later.contentHash),
                         {earlierLabel, laterLabel}, [&](UnifiedDiffLine kind, std::string_view line) {
                             stopIfInterrupted();
                             context.console.printTextLine(line, colourOf(kind));
                         });
    return result == UnifiedDiffResult::same ? 0 : 1;
}

int commands::restore(CommandContext& context, const Arguments& arguments)
{
    const IdPrefix typed(arguments.operands()[0]);
    const IdPrefix typedRevision(arguments.operands()[1]);
    RecoveryStore& store = context.openLibrary();
    const Uuid id = typed.findDocument(store);
    context.console.printLine(restoreRevision(store, id, typedRevision.findRevision(store, id)).id.text());
    return 0;
}

}  // namespace penmark::cli
