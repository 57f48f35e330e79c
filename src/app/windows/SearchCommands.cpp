// SPDX-License-Identifier: GPL-3.0-or-later
// The commands of searching in many texts.
#include "app/editor/EditorView.h"
#include "app/navigator/NavigatorView.h"
#include "app/windows/CommandAdder.h"
#include "app/windows/ProgramSearch.h"

namespace penmark {

namespace {

/// What is selected, as a query: one line of it.
std::optional<std::string> selectedQuery(const DocumentWindow& window)
{
    const EditorView* const view = window.view();
    if (!view)
        return std::nullopt;
    const Caret& caret = view->editor().carets().main();
    constexpr std::size_t most = 1'000;  // bytes
    if (!caret.hasSelection() || caret.range().size() > most)
        return std::nullopt;
    std::string selected = view->text().text(caret.range());
    if (selected.find_first_of("\r\n") != std::string::npos)
        return std::nullopt;
    return selected;
}

/// Whoever looks for a title at the left and presses the key means all documents; whoever is in a text, what is
/// selected there.
void show(Program& program, DocumentWindow& window)
{
    const QString filter = window.navigator() ? window.navigator()->typedFilter() : QString();
    if (filter.isEmpty())
        program.search().show(window, selectedQuery(window));
    else
        program.search().show(window, filter.toStdString(), TextSearchScope());
}

}  // namespace

void addSearchCommands(CommandRegistry& registry, Program& program)
{
    CommandAdder add(registry, Program::tr("Find"));
    add.window("search.show", Program::tr("Search in…"), "Ctrl+Shift+F",
               [&program](auto& window) { show(program, window); });
    add.window("search.next", Program::tr("Next Search Result"), "F4; Ctrl+Alt+G",
               [&program](auto& window) { program.search().step(window, 1); });
    add.window("search.previous", Program::tr("Previous Search Result"), "Shift+F4; Ctrl+Alt+Shift+G",
               [&program](auto& window) { program.search().step(window, -1); });
}

}  // namespace penmark
