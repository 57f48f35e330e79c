// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/Utf8.h"
#include "cli/Command.h"
#include "cli/IdPrefix.h"
#include "cli/TextInput.h"
#include "storage/ContentStore.h"
#include "storage/RecoveryError.h"

namespace penmark::cli {

namespace {

// A text for a record, which could not be stored otherwise.
std::optional<std::string> textValue(const Arguments& arguments, const Option& option)
{
    auto value = arguments.value(option);
    if (value && !isValidUtf8(*value))
        throw UsageError("the value of “--" + std::string(option.name) + "” is not valid UTF-8");
    if (value && value->empty())
        value.reset();
    return value;
}

std::optional<std::string> operand(const Arguments& arguments, std::size_t index)
{
    if (index >= arguments.operands().size())
        return std::nullopt;
    return arguments.operands()[index];
}

RecoveryDocument requireDocument(const DocumentStore& documents, const Uuid& id)
{
    auto document = documents.loadDocument(id);
    if (!document)
        throw RecoveryError::storage("There is no document " + id.text() + ".");
    return std::move(*document);
}

}  // namespace

int commands::newDocument(CommandContext& context, const Arguments& arguments)
{
    const auto title = textValue(arguments, options::title);
    const auto language = textValue(arguments, options::language);
    const TextInput input = TextInput::read(operand(arguments, 0));
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
    const TextInput input = TextInput::read(operand(arguments, 1));

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
    const auto revision = typedRevision ? documents.loadRevision(typedRevision->findRevision(store, document.id))
                                        : documents.loadHead(document);
    if (!revision && typedRevision)
        throw RecoveryError(RecoveryError::Case::missingContent);
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
