// SPDX-License-Identifier: GPL-3.0-or-later
// The commands of windows and of the program; those of the text are in EditorCommands.cpp.
#include "app/editor/EditorView.h"
#include "app/settings/SettingsStore.h"
#include "app/windows/CommandAdder.h"
#include "app/windows/DocumentPane.h"
#include "app/windows/DocumentWindow.h"
#include "app/windows/Program.h"
#include "app/windows/StatusTexts.h"
#include "text/Indentation.h"
#include "text/commands/Indent.h"

#include <QApplication>
#include <QClipboard>
#include <QDesktopServices>
#include <QFileInfo>
#include <QMessageBox>
#include <QSysInfo>
#include <QUrl>

namespace penmark {

namespace {

using Context = CommandContext;

void addFileCommands(CommandRegistry& registry, Program& program)
{
    CommandAdder add(registry, Program::tr("File"));
    add.window("file.newDraft", Program::tr("New Draft"), "Ctrl+N; Ctrl+T", [](auto& window) { window.newDraft(); });
    add.window("file.newWindow", Program::tr("New Window"), "Ctrl+Shift+N",
               [&program](auto& window) { program.newWindowBeside(window); });
    add.window("file.open", Program::tr("Open…"), "Ctrl+O", [](auto& window) { window.openFiles(); });
    add.window("file.reopenClosed", Program::tr("Reopen Closed"), "Ctrl+Shift+T",
               [&program](auto&) { program.reopenClosed(); })
        .isEnabled = [&program](const Context& context) { return context.window && program.canReopenClosed(); };
    add.document("file.save", Program::tr("Save"), "Ctrl+S", [](auto& window) { window.save(); });
    add.document("file.saveAs", Program::tr("Save As…"), "Ctrl+Shift+S",
                 [](auto& window) { window.saveAs(frontDocument(window)); });
    add.window("file.saveAll", Program::tr("Save All"), "", [&program](auto&) { program.saveAll(); });
    add.document("file.saveCopy", Program::tr("Save a Copy…"), "",
                 [](auto& window) { window.saveCopy(frontDocument(window)); });
    add.file("file.reload", Program::tr("Reload from Original"), "", [](auto& window) { window.reload(); });
    add.file("file.compare", Program::tr("Compare with Original"), "", [](auto& window) { window.compare(); });
    add.document("file.rename", Program::tr("Rename…"), "F2",
                 [](auto& window) { window.rename(frontDocument(window)); });
    add.document("file.discard", Program::tr("Discard Document"), "",
                 [](auto& window) { window.discard(frontDocument(window)); });
    add.document("file.print", Program::tr("Print…"), "Ctrl+P", [](auto& window) { window.print(); });
    add.document("file.exportPdf", Program::tr("Export PDF…"), "", [](auto& window) { window.exportPdf(); });
    add.file("file.copyPath", Program::tr("Copy Path"), "", [](auto& window) {
        QApplication::clipboard()->setText(QString::fromStdString(*window.buffer()->record().externalPath));
    });
    add.file("file.showInFiles", Program::tr("Show in Files"), "",
             [&program](auto& window) { program.showInFiles(*window.buffer()->record().externalPath); });
    add.window("file.closeTab", Program::tr("Close Tab"), "Ctrl+W",
               [](auto& window) { window.closeTab(frontDocument(window)); });
    add.window("file.closeOthers", Program::tr("Close Others"), "",
               [](auto& window) { window.closeOtherTabs(frontDocument(window)); });
    add.window("file.moveToNewWindow", Program::tr("Move to New Window"), "",
               [](auto& window) { window.moveToNewWindow(frontDocument(window)); })
        .isEnabled = [](const Context& context) {
        return context.window && context.window->tabs().documents().size() > 1;
    };
    add.window("file.closeWindow", Program::tr("Close Window"), "Ctrl+Shift+W", [](auto& window) { window.close(); });
    add.window("file.quit", Program::tr("Quit"), "Ctrl+Q", [&program](auto&) { program.quit(); });
}

void addFindCommands(CommandRegistry& registry)
{
    CommandAdder add(registry, Program::tr("Find"));
    add.document("find.find", Program::tr("Find…"), "Ctrl+F", [](auto& window) { window.pane()->openFind(false); });
    add.document("find.replace", Program::tr("Replace…"), "Ctrl+H",
                 [](auto& window) { window.pane()->openFind(true); });
    add.document("find.next", Program::tr("Find Next"), "F3", [](auto& window) { window.pane()->findAgain(true); });
    add.document("find.previous", Program::tr("Find Previous"), "Shift+F3",
                 [](auto& window) { window.pane()->findAgain(false); });
}

void addViewCommands(CommandRegistry& registry, Program& program)
{
    CommandAdder add(registry, Program::tr("View"));
    add.window("view.library", Program::tr("Library"), "F9", [](auto& window) { window.toggleLibrary(); }).isChecked =
        [](const Context& context) { return context.window && context.window->isLibraryVisible(); };
    add.window("view.palette", Program::tr("Command Palette"), "Ctrl+Shift+P",
               [](auto& window) { window.showPalette(); });
    add.document("view.splitRight", Program::tr("Split Right"), "",
                 [](auto& window) { window.pane()->split(Qt::Horizontal); });
    add.document("view.splitDown", Program::tr("Split Down"), "",
                 [](auto& window) { window.pane()->split(Qt::Vertical); });
    add.window("view.fullScreen", Program::tr("Full Screen"), "F11",
               [](auto& window) {
                   if (window.isFullScreen())
                       window.showNormal();
                   else
                       window.showFullScreen();
               })
        .isChecked = [](const Context& context) { return context.window && context.window->isFullScreen(); };
    add.window("view.menuBar", Program::tr("Menu Bar"), "",
               [&program](auto&) {
                   program.settings().change(
                       [](Settings& settings) { settings.menuBarVisible = !settings.menuBarVisible; });
               })
        .isChecked = [&program](const Context&) { return program.settings().settings().menuBarVisible; };
}

void addTabCommands(CommandRegistry& registry)
{
    CommandAdder add(registry, Program::tr("Go"));
    add.document("go.line", Program::tr("Go to Line…"), "Ctrl+G", [](auto& window) { window.goToLine(); });
    add.window("go.nextPart", Program::tr("Next Part of the Window"), "F6", [](auto& window) { window.focusPart(1); });
    add.window("go.previousPart", Program::tr("Previous Part of the Window"), "Shift+F6",
               [](auto& window) { window.focusPart(-1); });
    add.window("tab.next", Program::tr("Next Tab"), "Ctrl+PgDown",
               [](auto& window) { window.selectTab(window.tabs().byPlace(1).value_or(Uuid())); });
    add.window("tab.previous", Program::tr("Previous Tab"), "Ctrl+PgUp",
               [](auto& window) { window.selectTab(window.tabs().byPlace(-1).value_or(Uuid())); });
    add.window("tab.nextUsed", Program::tr("Tab Used Before"), "Ctrl+Tab", [](auto& window) { window.cycleTabs(1); });
    add.window("tab.previousUsed", Program::tr("Tab Used Longest Ago"),
               "Ctrl+Shift+Tab; Ctrl+Backtab; Ctrl+Shift+Backtab", [](auto& window) { window.cycleTabs(-1); });
    add.window("tab.moveRight", Program::tr("Move Tab Right"), "Ctrl+Shift+PgDown",
               [](auto& window) { window.moveTab(1); });
    add.window("tab.moveLeft", Program::tr("Move Tab Left"), "Ctrl+Shift+PgUp",
               [](auto& window) { window.moveTab(-1); });
    static const char* const ids[] = {"tab.1", "tab.2", "tab.3", "tab.4", "tab.5", "tab.6", "tab.7", "tab.8", "tab.9"};
    static const char* const keys[] = {"Alt+1", "Alt+2", "Alt+3", "Alt+4", "Alt+5", "Alt+6", "Alt+7", "Alt+8", "Alt+9"};
    for (std::size_t index = 0; index < 9; ++index) {
        add.window(ids[index], Program::tr("Tab %1").arg(index + 1), keys[index], [index](auto& window) {
            if (index < window.tabs().documents().size())
                window.selectTab(window.tabs().documents()[index]);
        });
    }
}

void addFormatCommands(CommandRegistry& registry, Program& program)
{
    CommandAdder add(registry, Program::tr("Format"));
    for (const EditorLanguage language : editorLanguages()) {
        const std::string_view called = name(language);
        const QString title = QString::fromUtf8(called.data(), static_cast<qsizetype>(called.size()));
        const std::string id = "format.language." + std::to_string(static_cast<int>(language));
        add.document(
               id.c_str(), title, "",
               [&program, language](auto& window) { program.documents().setLanguage(*window.buffer(), language); })
            .isChecked = [language](const Context& context) {
            return hasDocument(context) && context.window->buffer()->content().language() == language;
        };
    }
    // Of their own, or the palette would offer "Format: UTF-8" twice.
    CommandAdder reopen(registry, Program::tr("Reopen with Encoding"));
    for (const auto& [encoding, word] : storedWords(RecoveryEncoding())) {
        add.document(("format.encoding." + std::string(word)).c_str(), encodingName(encoding), "",
                     [&program, encoding = encoding](auto& window) {
                         program.documents().setEncoding(*window.buffer(), encoding);
                     })
            .isChecked = [encoding = encoding](const Context& context) {
            return hasDocument(context) && context.window->buffer()->record().encoding == encoding;
        };
        reopen.file(
            ("format.reopenAs." + std::string(word)).c_str(), encodingName(encoding), "",
            [&program, encoding = encoding](auto& window) { program.files().reload(*window.buffer(), encoding); });
    }
    for (const std::size_t width : {2U, 4U, 8U}) {
        add.document(("format.indent.blanks" + std::to_string(width)).c_str(), Program::tr("%1 Blanks").arg(width), "",
                     [width](auto& window) {
                         EditOptions& options = window.buffer()->content().options();
                         options.indentWithTabs = false;
                         options.indentWidth = width;
                         window.buffer()->touch();
                     })
            .isChecked = [width](const Context& context) {
            return hasDocument(context) && !context.window->buffer()->content().options().indentWithTabs &&
                   context.window->buffer()->content().options().indentWidth == width;
        };
        add.document(("format.indent.tabs" + std::to_string(width)).c_str(), Program::tr("Tabs of %1").arg(width), "",
                     [width](auto& window) {
                         EditOptions& options = window.buffer()->content().options();
                         options.indentWithTabs = true;
                         options.tabWidth = options.indentWidth = width;
                         window.buffer()->touch();
                     })
            .isChecked = [width](const Context& context) {
            return hasDocument(context) && context.window->buffer()->content().options().indentWithTabs &&
                   context.window->buffer()->content().options().tabWidth == width;
        };
    }
}

void addHelpCommands(CommandRegistry& registry, Program& program)
{
    CommandAdder add(registry, Program::tr("Help"));
    add.window("edit.pasteFromHistory", Program::tr("Paste from History…"), "Ctrl+Shift+V",
               [](auto& window) { window.pasteFromHistory(); });
    add.window("edit.preferences", Program::tr("Preferences"), "Ctrl+,",
               [&program](auto& window) { program.showSettings(window); });
    add.window("help.keys", Program::tr("Keyboard Shortcuts"), "Ctrl+?",
               [&program](auto& window) { program.showSettings(window, true); });
    add.window("help.libraryFolder", Program::tr("Show Library Folder"), "",
               [&program](auto&) { program.openLibraryFolder(); });
    add.window("help.diagnostics", Program::tr("Copy Diagnostics"), "", [&program](auto& window) {
        QApplication::clipboard()->setText(program.diagnostics());
        window.showMessage(Program::tr("Diagnostics copied"));
    });
    add.window("help.about", Program::tr("About Penmark"), "", [&program](auto& window) { program.showAbout(window); });
}

}  // namespace

void Program::createCommands()
{
    commands_ = std::make_unique<CommandRegistry>();
    addFileCommands(*commands_, *this);
    addFindCommands(*commands_);
    addTabCommands(*commands_);
    addViewCommands(*commands_, *this);
    addFormatCommands(*commands_, *this);
    addSearchCommands(*commands_, *this);
    addSessionCommands(*commands_, *this);
    addHelpCommands(*commands_, *this);
    commands_->addEditorCommands();
    connect(commands_.get(), &CommandRegistry::refused, this,
            [this](const QString& sentence) { frontWindow().showMessage(sentence); });
}

}  // namespace penmark
