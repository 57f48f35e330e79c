// SPDX-License-Identifier: GPL-3.0-or-later
// The menus of a window, its palette and its library.
#include "app/appearance/Icon.h"
#include "app/commands/CommandMenu.h"
#include "app/commands/CommandPalette.h"
#include "app/editor/EditorView.h"
#include "app/navigator/NavigatorView.h"
#include "app/navigator/RecordedSessions.h"
#include "app/settings/SettingsStore.h"
#include "app/windows/ClipboardHistory.h"
#include "app/windows/DocumentMenus.h"
#include "app/windows/DocumentPane.h"
#include "app/windows/DocumentStatusBar.h"
#include "app/windows/DocumentTabBar.h"
#include "app/windows/DocumentWindow.h"
#include "app/windows/PeekView.h"
#include "app/windows/Program.h"
#include "app/windows/ProgramSearch.h"
#include "app/windows/ProgramSessions.h"

#include <QApplication>
#include <QClipboard>
#include <QDir>
#include <QLayout>
#include <QMenu>
#include <QMenuBar>
#include <QSplitter>
#include <QStackedWidget>
#include <QToolButton>

namespace penmark {

namespace {

constexpr const char* fileMenu[] = {"file.newDraft",
                                    "file.newWindow",
                                    "-",
                                    "file.open",
                                    ">recent",
                                    "file.openProject",
                                    "file.reopenClosed",
                                    "-",
                                    "file.save",
                                    "file.saveAs",
                                    "file.saveAll",
                                    "file.saveCopy",
                                    "file.reload",
                                    "file.compare",
                                    ">reopenAs",
                                    "-",
                                    "file.rename",
                                    "file.discard",
                                    "file.history",
                                    "file.keepVersion",
                                    "file.copyPath",
                                    "file.showInFiles",
                                    "-",
                                    "file.print",
                                    "file.exportPdf",
                                    "-",
                                    "file.closeTab",
                                    "file.closeWindow",
                                    "file.quit"};
constexpr const char* editMenu[] = {"edit.undo",
                                    "edit.redo",
                                    "edit.redoOtherBranch",
                                    "-",
                                    "edit.cut",
                                    "edit.copy",
                                    "edit.paste",
                                    "edit.pasteFromHistory",
                                    "edit.selectAll",
                                    "-",
                                    ">lines",
                                    ">carets",
                                    ">case",
                                    "edit.comment",
                                    "edit.overtype",
                                    "-",
                                    "edit.preferences"};
constexpr const char* linesMenu[] = {"edit.line.moveUp",      "edit.line.moveDown",       "edit.line.duplicate",
                                     "edit.line.delete",      "edit.line.join",           "edit.line.select",
                                     "edit.line.insertBelow", "edit.line.insertAbove",    "-",
                                     "edit.line.sort",        "edit.line.sortDescending", "edit.line.reverse",
                                     "edit.line.unique",      "edit.line.trim",           "edit.transpose"};
constexpr const char* caretsMenu[] = {
    "caret.addAbove", "caret.addBelow", "caret.nextOccurrence", "caret.allOccurrences", "caret.expand",
    "caret.undo",     "caret.one"};
constexpr const char* caseMenu[] = {"edit.case.upper", "edit.case.lower", "edit.case.title", "edit.case.swap"};
constexpr const char* findMenu[] = {"find.find", "find.replace", "-",           "find.next",      "find.previous",
                                    "-",         "search.show",  "search.next", "search.previous"};
constexpr const char* viewMenu[] = {"view.library",   "view.palette",     "-",           "view.wrap",
                                    "view.blanks",    "view.lineNumbers", "-",           "view.zoomIn",
                                    "view.zoomOut",   "view.zoomReset",   "-",           "view.splitRight",
                                    "view.splitDown", "view.fullScreen",  "view.menuBar"};
constexpr const char* goMenu[] = {"go.line",
                                  "caret.bracket",
                                  "caret.back",
                                  "caret.forward",
                                  "-",
                                  "caret.documentStart",
                                  "caret.documentEnd",
                                  "-",
                                  "tab.nextUsed",
                                  "tab.previousUsed",
                                  "tab.next",
                                  "tab.previous",
                                  "tab.moveLeft",
                                  "tab.moveRight",
                                  "-",
                                  "go.nextPart",
                                  "go.previousPart"};
constexpr const char* formatMenu[] = {">language", ">encoding",   ">lineEnds",    ">indentation",
                                      "-",         "edit.indent", "edit.outdent", "-",
                                      "fold.fold", "fold.unfold", "fold.all",     "fold.none"};
constexpr const char* languageMenu[] = {
    "format.language.0",  "format.language.1",  "format.language.2", "format.language.3", "format.language.4",
    "format.language.5",  "format.language.6",  "format.language.7", "format.language.8", "format.language.9",
    "format.language.10", "format.language.11", "format.language.12"};
constexpr const char* encodingMenu[] = {"format.encoding.utf8", "format.encoding.utf8BOM", "format.encoding.utf16LE",
                                        "format.encoding.utf16BE"};
constexpr const char* reopenMenu[] = {"format.reopenAs.utf8", "format.reopenAs.utf8BOM", "format.reopenAs.utf16LE",
                                      "format.reopenAs.utf16BE"};
constexpr const char* lineEndsMenu[] = {"edit.lineEnds.lf", "edit.lineEnds.crlf"};
constexpr const char* indentationMenu[] = {
    "format.indent.blanks2", "format.indent.blanks4", "format.indent.blanks8", "-",
    "format.indent.tabs2",   "format.indent.tabs4",   "format.indent.tabs8",   "-",
    "edit.indent.toBlanks",  "edit.indent.toTabs"};
constexpr const char* sessionMenu[] = {"session.new",
                                       "session.newNested",
                                       "session.rename",
                                       "session.saveAsStarter",
                                       "session.close",
                                       ">moveInto",
                                       "-",
                                       "session.organiser",
                                       "session.calendar",
                                       "session.keepCheckpoint",
                                       "-",
                                       "session.createNote",
                                       "session.openNote",
                                       "session.useAsNote",
                                       "-",
                                       "workspace.new",
                                       ">linkWindow",
                                       ">linkTab",
                                       ">workspace"};
constexpr const char* workspaceMenu[] = {"workspace.members",
                                         "workspace.focus",
                                         "workspace.showAll",
                                         "workspace.close",
                                         "workspace.reopen",
                                         "workspace.remove",
                                         "-",
                                         "workspace.organiser"};
constexpr const char* helpMenu[] = {"help.keys", "help.libraryFolder", "help.diagnostics", "-", "help.about"};
constexpr const char* tabEntries[] = {"file.rename",
                                      "-",
                                      "file.save",
                                      "file.saveAs",
                                      "file.saveCopy",
                                      "-",
                                      "file.history",
                                      "file.keepVersion",
                                      "-",
                                      ">linkTab",
                                      "file.moveToNewWindow",
                                      "file.copyPath",
                                      "file.showInFiles",
                                      "-",
                                      "file.discard",
                                      "-",
                                      "file.closeTab",
                                      "file.closeOthers"};

struct SubMenu {
    const char* name;
    const char* title;
    std::span<const char* const> entries;
};

const SubMenu editMenus[] = {{"lines", QT_TRANSLATE_NOOP("penmark::DocumentWindow", "Lines"), linesMenu},
                             {"carets", QT_TRANSLATE_NOOP("penmark::DocumentWindow", "Carets"), caretsMenu},
                             {"case", QT_TRANSLATE_NOOP("penmark::DocumentWindow", "Case"), caseMenu}};
const SubMenu formatMenus[] = {
    {"language", QT_TRANSLATE_NOOP("penmark::DocumentWindow", "Language"), languageMenu},
    {"encoding", QT_TRANSLATE_NOOP("penmark::DocumentWindow", "Encoding for the Next Save"), encodingMenu},
    {"lineEnds", QT_TRANSLATE_NOOP("penmark::DocumentWindow", "Line Endings"), lineEndsMenu},
    {"indentation", QT_TRANSLATE_NOOP("penmark::DocumentWindow", "Indentation"), indentationMenu}};

}  // namespace

std::span<const std::span<const char* const>> documentMenus()
{
    static const std::span<const char* const> menus[] = {
        fileMenu,     editMenu,        linesMenu,   caretsMenu,    caseMenu,     findMenu,
        viewMenu,     goMenu,          formatMenu,  languageMenu,  encodingMenu, reopenMenu,
        lineEndsMenu, indentationMenu, sessionMenu, workspaceMenu, helpMenu,     tabEntries};
    return menus;
}

void DocumentWindow::createMenus()
{
    const auto where = [this] { return context(); };
    CommandRegistry& commands = program_.commands();
    const auto fill = [&](QMenu& menu, std::span<const char* const> entries) {
        fillMenu(menu, entries, commands, where);
    };
    const auto addMenus = [&](QMenu& parent, std::span<const SubMenu> menus) {
        for (const SubMenu& entry : menus) {
            auto* const menu = new QMenu(tr(entry.title), &parent);
            menu->setObjectName(QLatin1String(entry.name));
            fill(*menu, entry.entries);
        }
    };
    QMenu* const file = menuBar()->addMenu(tr("&File"));
    auto* const recent = new QMenu(tr("Open Recent"), file);
    recent->setObjectName(QStringLiteral("recent"));
    connect(recent, &QMenu::aboutToShow, this, [this, recent] { fillRecent(*recent); });
    auto* const reopen = new QMenu(tr("Reopen with Encoding"), file);
    reopen->setObjectName(QStringLiteral("reopenAs"));
    fill(*reopen, reopenMenu);
    fill(*file, fileMenu);
    QMenu* const edit = menuBar()->addMenu(tr("&Edit"));
    addMenus(*edit, editMenus);
    fill(*edit, editMenu);
    fill(*menuBar()->addMenu(tr("Fi&nd")), findMenu);
    fill(*menuBar()->addMenu(tr("&View")), viewMenu);
    fill(*menuBar()->addMenu(tr("&Go")), goMenu);
    QMenu* const format = menuBar()->addMenu(tr("F&ormat"));
    addMenus(*format, formatMenus);
    fill(*format, formatMenu);
    QMenu* const session = menuBar()->addMenu(tr("&Session"));
    addSessionMenus(*session);
    auto* const workspace = new QMenu(tr("Current Workspace"), session);
    workspace->setObjectName(QStringLiteral("workspace"));
    fill(*workspace, workspaceMenu);
    fill(*session, sessionMenu);
    fill(*menuBar()->addMenu(tr("&Help")), helpMenu);
    setMenuBarVisible(program_.settings().settings().menuBarVisible);
}

void DocumentWindow::setMenuBarVisible(bool visible)
{
    menuBar()->setVisible(visible);
    if (visible && menuButton_)
        menuButton_->hide();
    if (visible)
        return;
    if (!menuButton_) {
        menuButton_ = new QToolButton(tabBar_->parentWidget());
        menuButton_->setAutoRaise(true);
        menuButton_->setIcon(icon(IconShape::menu));
        menuButton_->setFocusPolicy(Qt::TabFocus);
        menuButton_->setAccessibleName(tr("Menu"));
        menuButton_->setToolTip(tr("Menu"));
        auto* const menu = new QMenu(menuButton_);
        for (QAction* action : menuBar()->actions())
            menu->addAction(action);
        connect(menuButton_, &QToolButton::clicked, menu, [this, menu] {
            const QPoint corner(menuButton_->width() - menu->sizeHint().width(), menuButton_->height());
            menu->popup(menuButton_->mapToGlobal(corner));
        });
        tabBar_->parentWidget()->layout()->addWidget(menuButton_);
    }
    menuButton_->show();
}

void DocumentWindow::fillRecent(QMenu& menu)
{
    menu.clear();
    for (const std::string& path : program_.recentFiles()) {
        QString shown = QString::fromStdString(path);
        const QString home = QDir::homePath() + QLatin1Char('/');
        if (shown.startsWith(home))
            shown.replace(0, home.size(), QStringLiteral("~/"));
        shown.replace(QLatin1Char('&'), QStringLiteral("&&"));
        menu.addAction(shown, this, [this, path] { program_.open({{path}}, *this); });
    }
    if (menu.isEmpty())
        menu.addAction(tr("No File Yet"))->setEnabled(false);
}

void DocumentWindow::createStatusMenus()
{
    using Part = DocumentStatusBar::Part;
    const auto menuOf = [this](Part part, std::span<const char* const> entries) {
        QMenu* const menu = status_->menuOf(part);
        fillMenu(*menu, entries, program_.commands(), [this] { return context(); });
    };
    menuOf(Part::language, languageMenu);
    menuOf(Part::encoding, encodingMenu);
    menuOf(Part::lineEnd, lineEndsMenu);
    menuOf(Part::indent, indentationMenu);
    connect(status_, &DocumentStatusBar::clicked, this, [this](Part part) {
        if (part == Part::caret)
            goToLine();
        else if (part == Part::stored && buffer())
            program_.documents().store(*buffer());
        else if (part == Part::file)
            save();
    });
}

void DocumentWindow::tabMenu(const Uuid& document, const QPoint& at)
{
    selectTab(document);
    auto* const menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    addSessionMenus(*menu);
    fillMenu(*menu, tabEntries, program_.commands(), [this] { return context(); });
    menu->popup(at);
}

void DocumentWindow::showPalette()
{
    if (!palette_)
        palette_ = new CommandPalette(
            program_.commands(), [this] { return context(); }, *this);
    palette_->open();
}

void DocumentWindow::pasteFromHistory()
{
    EditorView* const target = view();
    if (!target || target->isReadOnly())
        return;
    const QStringList& texts = program_.clipboardHistory().texts();
    if (texts.isEmpty()) {
        showMessage(tr("Nothing has been copied yet."));
        return;
    }
    auto* const menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->setAccessibleName(tr("Clipboard history"));
    for (const QString& text : texts) {
        QString shown = text.left(200).simplified().left(60);
        shown.replace(QLatin1Char('&'), QStringLiteral("&&"));
        menu->addAction(shown, target, [target, text] { target->pasteText(text); });
    }
    menu->setActiveAction(menu->actions().first());
    const QRect caret = target->caretRect(target->editor().carets().main());
    menu->popup(target->viewport()->mapToGlobal(caret.bottomLeft()));
}

// ---- the library at the left ----

bool DocumentWindow::isLibraryVisible() const
{
    return navigator_ && !navigator_->isHidden();
}

void DocumentWindow::toggleLibrary()
{
    const bool show = !isLibraryVisible();
    setLibraryVisible(show);
    if (show)
        navigator_->focusFilter();
    else if (pane())
        pane()->focusText();
}

void DocumentWindow::setLibraryVisible(bool visible)
{
    if (!visible) {
        if (navigator_)
            navigator_->hide();
        isTouched();
        return;
    }
    if (!navigator_)
        createNavigator();
    navigator_->show();
    program_.needHeaders();
    isTouched();
}

void DocumentWindow::createNavigator()
{
    navigator_ = new NavigatorView(program_.documents().headers(), splitter_);
    navigator_->setPreviewSource(&program_.previews());
    navigator_->setSessions(std::make_unique<RecordedSessions>(program_.records(), program_.documents()),
                            program_.sessions(), id());
    NavigatorState state;
    if (record_.presentation) {
        const WindowPresentation& presentation = *record_.presentation;
        state.filter = QString::fromStdString(presentation.libraryFilter.value_or(std::string()));
        if (presentation.collapsedLibrarySections) {
            state.collapsed.clear();
            for (const std::string& section : *presentation.collapsedLibrarySections)
                state.collapsed.append(QString::fromStdString(section));
        }
        state.expandedPaths = presentation.expandedProjectPaths.value_or(std::set<std::string>());
        if (presentation.libraryWidth)
            state.width = std::clamp(static_cast<int>(*presentation.libraryWidth), 160, 900);
    }
    navigator_->setState(state);
    splitter_->insertWidget(0, navigator_);
    splitter_->setStretchFactor(0, 0);
    splitter_->setStretchFactor(1, 1);
    splitter_->setSizes({state.width, std::max(200, width() - state.width)});
    navigator_->setOpenHere(tabs_.documents());
    navigator_->setCurrent(tabs_.selected().value_or(Uuid()));

    connect(navigator_, &NavigatorView::stateChanged, this, &DocumentWindow::isTouched);
    connect(splitter_, &QSplitter::splitterMoved, this, &DocumentWindow::isTouched);
    connect(navigator_, &NavigatorView::openRequested, this, [this](const QList<Uuid>& documents, bool inNewWindow) {
        for (const Uuid& document : documents) {
            if (inNewWindow)
                program_.newWindowBeside(*this, document);
            else
                showDocument(document);
        }
    });
    connect(navigator_, &NavigatorView::newDraftRequested, this, &DocumentWindow::newDraft);
    connect(navigator_, &NavigatorView::searchRequested, this, [this](const QString& text) {
        program_.search().show(*this, text.trimmed().toStdString(), TextSearchScope());
    });
    connect(navigator_, &NavigatorView::leaveRequested, this, [this] {
        if (pane())
            pane()->focusText();
    });
    connect(navigator_, &NavigatorView::renameRequested, this, [this](const Uuid& document, const QString& title) {
        program_.documents().rename(document, title.trimmed().toStdString());
    });
    connect(navigator_, &NavigatorView::discardRequested, this, [this](const QList<Uuid>& documents) {
        std::vector<Uuid> ids(documents.begin(), documents.end());
        for (const Uuid& document : ids) {
            if (program_.sessions().sessionOfNote(document))
                discard(document);  // which asks
        }
        std::erase_if(ids, [this](const Uuid& id) { return program_.sessions().sessionOfNote(id).has_value(); });
        program_.documents().discard(ids);
        for (DocumentWindow* window : program_.windows()) {
            for (const Uuid& document : ids)
                window->closeDiscarded(document);
        }
    });
    const auto restore = [this](const QList<Uuid>& documents) {
        program_.documents().restore(std::vector<Uuid>(documents.begin(), documents.end()));
    };
    connect(navigator_, &NavigatorView::undoDiscardRequested, this, restore);
    connect(navigator_, &NavigatorView::restoreRequested, this, restore);
    connect(navigator_, &NavigatorView::copyPathRequested, this, [this](const QList<Uuid>& documents) {
        QStringList paths;
        for (const Uuid& document : documents) {
            if (const DocumentHeader* header = program_.documents().headers().find(document))
                paths.append(QString::fromStdString(header->path));
        }
        QApplication::clipboard()->setText(paths.join(QLatin1Char('\n')));
    });
    connect(navigator_, &NavigatorView::showInFilesRequested, this, [this](const QList<Uuid>& documents) {
        for (const Uuid& document : documents) {
            if (const DocumentHeader* header = program_.documents().headers().find(document))
                program_.showInFiles(header->path);
        }
    });
    connect(
        navigator_, &NavigatorView::fileMoved, this,
        [this](const std::filesystem::path& from, const std::filesystem::path& to) { program_.fileMoved(from, to); });
    connect(navigator_, &NavigatorView::showFileRequested, this,
            [this](const std::filesystem::path& path) { program_.showInFiles(path.native()); });
    connect(navigator_, &NavigatorView::failed, this,
            [this](const QString& sentence) { showBar(sentence, DocumentMessage::Weight::warning, {}); });
    connect(navigator_, &NavigatorView::peekRequested, this,
            [this](const Uuid& document) { openPeek(*this, program_, document); });
}

}  // namespace penmark
