// SPDX-License-Identifier: GPL-3.0-or-later
#include "cli/Command.h"
#include "cli/DocumentAccess.h"
#include "cli/IdPrefix.h"
#include "cli/TextInput.h"
#include "storage/ContentStore.h"

namespace penmark::cli {

int commands::newDocument(CommandContext& context, const Arguments& arguments)
{
    const auto title = arguments.text(options::title);
    const auto language = arguments.text(options::language);
    const TextInput input = TextInput::read(arguments.operand(0));
    DocumentStore documents(context.openOrCreateLibrary());
    context.console.printLine(storeAsDocument(documents, input, title ? *title : input.title(), language).id.text());
    return 0;
}

int commands::write(CommandContext& context, const Arguments& arguments)
{
    const IdPrefix typed(arguments.operands()[0]);
    std::optional<IdPrefix> typedParent;
    if (const auto parent = arguments.value(options::parent))
        typedParent.emplace(*parent);
    const TextInput input = TextInput::read(arguments.operand(1));

    RecoveryStore& store = context.openLibrary();
    DocumentStore documents(store);
    const RecoveryDocument document = requireDocument(documents, typed.findDocument(store));
    const auto parent = typedParent ? typedParent->findRevision(store, document.id) : document.head;
    const auto written = documents.writeRevision(document.id, parent, input.decoded.text);
    context.console.printLine(written.document.head->text());
    return 0;
}

int commands::cat(CommandContext& context, const Arguments& arguments)
{
    const IdPrefix typed(arguments.operands()[0]);
    std::optional<IdPrefix> typedRevision;
    if (const auto revision = arguments.value(options::revision))
        typedRevision.emplace(*revision);

    RecoveryStore& store = context.openLibrary();
    const DocumentStore documents(store);
    const RecoveryDocument document = requireDocument(documents, typed.findDocument(store));
    const auto revision =
        typedRevision ? std::optional(requireRevision(documents, typedRevision->findRevision(store, document.id)))
                      : documents.loadHead(document);
    if (!revision)
        return 0;  // nothing was ever written to it
    context.console.print(ContentStore(store).loadText(revision->contentHash));
    return 0;
}

int commands::discard(CommandContext& context, const Arguments& arguments)
{
    const IdPrefix typed(arguments.operands()[0]);
    RecoveryStore& store = context.openLibrary();
    DocumentStore(store).discard(typed.findDocument(store));
    return 0;
}

}  // namespace penmark::cli
