// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/sessions/DocumentPreviews.h"
#include "app/sessions/NamePrompt.h"
#include "app/sessions/NewSessionDialog.h"
#include "app/sessions/OrganiserFixture.h"
#include "app/sessions/ReturnNoteText.h"
#include "app/sessions/SessionsWindow.h"
#include "app/sessions/StarterDialog.h"
#include "organization/CheckpointStore.h"
#include "organization/Projects.h"
#include "organization/Workspaces.h"

#include <QAccessible>
#include <QCheckBox>
#include <QComboBox>
#include <QFileDialog>
#include <QLineEdit>
#include <QListWidget>
#include <QPointer>
#include <QPushButton>
#include <QTabWidget>

namespace penmark {
namespace {

class SessionDialogsTest : public OrganiserFixture {
protected:
    /// A dialog whose answers are written down.
    NewSessionDialog& ask(std::vector<SessionStarter> starters = {})
    {
        delete dialog.data();
        answers.clear();
        dialog = new NewSessionDialog(&parent, *records, registry, queue, std::move(starters));
        QObject::connect(dialog, &NewSessionDialog::chosen, dialog,
                         [this](const SessionStart& start) { answers.push_back(start); });
        dialog->open();
        return *dialog;
    }
    void choose(const QString& title)
    {
        auto& starts = named<QListWidget>(*dialog, QStringLiteral("Start with"));
        starts.setCurrentItem(starts.findItems(title, Qt::MatchExactly).value(0));
    }
    void enter() { QTest::keyClick(dialog.data(), Qt::Key_Return); }
    /// The names of controls that take the keys and have none to be told by.
    static std::string unnamed(const QWidget& within)
    {
        std::string all;
        for (QWidget* const each : within.findChildren<QWidget*>()) {
            // Parts of composed controls are told by the whole.
            if (each->focusPolicy() == Qt::NoFocus || each->focusProxy() || !each->isVisible() ||
                each->objectName().startsWith(QStringLiteral("qt_")))
                continue;
            const QAccessibleInterface* const told = QAccessible::queryAccessibleInterface(each);
            if (told == nullptr || told->text(QAccessible::Name).isEmpty())
                all += std::string(each->metaObject()->className()) + " ";
        }
        return all;
    }

    QWidget parent;
    QPointer<NewSessionDialog> dialog;
    std::vector<SessionStart> answers;
};

TEST_F(SessionDialogsTest, ANewSessionStartsAtOnceAndWithWhatWasChosen)
{
    const Uuid budget = session("Budget");
    const Uuid closed = session("Closed");
    records->change([&](SessionLibrary& library) { closeSession(library, closed); });

    ask();
    enter();
    ASSERT_EQ(answers.size(), 1U);
    EXPECT_EQ(answers[0].kind, SessionStart::Kind::empty);
    EXPECT_EQ(answers[0].name, "");
    EXPECT_FALSE(answers[0].parent);

    SessionStarter own;
    own.name = "Weekly";
    own.projects = {"/projects/week"};
    ask({own}).setParentSession(budget);
    named<QLineEdit>(*dialog, QStringLiteral("Name")).setText(QStringLiteral("  Letters "));
    choose(QStringLiteral("Weekly"));
    enter();
    ASSERT_EQ(answers.size(), 1U);
    EXPECT_EQ(answers[0].kind, SessionStart::Kind::starter);
    EXPECT_EQ(answers[0].starter, own);
    EXPECT_EQ(answers[0].name, "Letters");
    EXPECT_EQ(answers[0].parent, budget);

    ask().setParentSession(closed);
    choose(QStringLiteral("From an existing session’s layout"));
    auto& layouts = named<QComboBox>(*dialog, QStringLiteral("Session whose layout is taken"));
    layouts.setCurrentIndex(layouts.findText(QStringLiteral("Closed")));
    enter();
    ASSERT_EQ(answers.size(), 1U);
    EXPECT_FALSE(answers[0].parent) << "nothing can be nested in one that is put aside";
    EXPECT_EQ(answers[0].session, closed);
}

TEST_F(SessionDialogsTest, ANewSessionAsksForWhatItsStartLacks)
{
    ask();
    choose(QStringLiteral("Project folder"));
    enter();
    auto* const folders = dialog->findChild<QFileDialog*>();
    ASSERT_NE(folders, nullptr);
    EXPECT_TRUE(answers.empty());
    emit folders->fileSelected(QStringLiteral("/projects/böök"));
    ASSERT_EQ(answers.size(), 1U);
    EXPECT_EQ(answers[0].kind, SessionStart::Kind::projectFolder);
    EXPECT_EQ(answers[0].folder, std::filesystem::path("/projects/böök"));

    ask();
    choose(QStringLiteral("Log review"));
    named<QLineEdit>(*dialog, QStringLiteral("Folder")).setText(QStringLiteral("logs"));
    enter();
    EXPECT_TRUE(answers.empty());
    EXPECT_TRUE(says(*dialog, QStringLiteral("Choose a project folder.")));

    choose(QStringLiteral("From checkpoint…"));
    settle();
    enter();
    EXPECT_TRUE(answers.empty());
    EXPECT_TRUE(says(*dialog, QStringLiteral("Choose a checkpoint.")));
    const CheckpointHeader kept = CheckpointStore(queue.store()).keepLibrary(records->library(), "Kept", true);
    ask();
    choose(QStringLiteral("From checkpoint…"));
    settle();
    enter();
    ASSERT_EQ(answers.size(), 1U);
    EXPECT_EQ(answers[0].checkpoint, kept.id);
}

TEST_F(SessionDialogsTest, ANameIsTakenByEnterAlone)
{
    std::vector<QString> taken;
    const auto prompt = [&] {
        NamePrompt::ask(&parent, {}, QStringLiteral("Name"), {}, QStringLiteral("Trip"), QStringLiteral("Keep"),
                        [&](const QString& name) { taken.push_back(name); });
        return parent.findChild<QLineEdit*>();
    };
    QLineEdit* line = prompt();
    EXPECT_EQ(line->selectedText(), QStringLiteral("Trip"));
    QTest::keyClick(line, Qt::Key_Escape);
    ASSERT_TRUE(waitUntil([&] { return parent.findChild<QLineEdit*>() == nullptr; }));
    EXPECT_TRUE(taken.empty());
    line = prompt();
    line->setText(QStringLiteral("  "));
    QTest::keyClick(line, Qt::Key_Return);
    EXPECT_EQ(taken, std::vector{QString()});
}

TEST_F(SessionDialogsTest, AStarterKeepsTheLayoutAndTextsOnlyWhenTicked)
{
    const Uuid weekly = session("Weekly");
    const Uuid agenda = document("agenda", "Agenda\n- first");
    RecoveryBuffer& loaded = registry.createDraft();
    registry.retain(loaded.id());
    type(loaded, "Minutes");
    registry.rename(loaded.id(), "Our minutes");
    const Uuid made = window(weekly, "w", {agenda, loaded.id()});
    records->change([&](SessionLibrary& library) {
        RecoveryWindow changed = *library.findWindow(made);
        changed.placement = WindowPlacement{10, 20, 800, 600, {}, {}};
        changed.presentation.emplace();
        changed.presentation->libraryVisible = true;
        changed.presentation->projectID = addProject(library, "/projects/week");
        attachProject(library, weekly, *changed.presentation->projectID);
        putWindow(library, changed, now);
    });
    const auto save = [&](bool withTexts) {
        std::optional<SessionStarter> starter;
        auto* const asks = new StarterDialog(&parent, *records, registry, weekly, {"Weekly"});
        QObject::connect(asks, &StarterDialog::made, asks, [&](const SessionStarter& given) { starter = given; });
        asks->open();
        EXPECT_TRUE(says(*asks, QStringLiteral("Replaces the starter of this name.")));
        asks->findChild<QCheckBox*>()->setChecked(withTexts);
        QTest::keyClick(asks, Qt::Key_Return);
        EXPECT_TRUE(waitUntil([&] { return starter.has_value(); }));
        return starter.value_or(SessionStarter());
    };
    const SessionStarter bare = save(false);
    ASSERT_EQ(bare.windows.size(), 1U);
    ASSERT_EQ(bare.windows[0].drafts.size(), 2U);
    EXPECT_FALSE(bare.windows[0].drafts[0].text);
    EXPECT_EQ(bare.windows[0].drafts[1].title, "Our minutes");
    EXPECT_EQ(bare.windows[0].placement->width, 800);
    EXPECT_TRUE(bare.windows[0].presentation->libraryVisible);
    EXPECT_FALSE(bare.windows[0].presentation->projectID) << "identities mean nothing elsewhere";
    EXPECT_EQ(bare.projects, std::vector<std::string>{"/projects/week"});

    const SessionStarter full = save(true);
    EXPECT_EQ(full.windows.at(0).drafts.at(0).text, "Agenda\n- first");
    EXPECT_EQ(full.windows.at(0).drafts.at(1).text, "Minutes") << "as it is now, stored or not";
    EXPECT_EQ(decodeRecord<SessionStarter>(encodeRecord(full)), full);
}

TEST_F(SessionDialogsTest, AReturnNoteListsWhatIsOpen)
{
    const Uuid travel = session("Travel");
    const Uuid map = document("map", "Map");
    window(travel, "w", {map});
    window(travel, "v", {map, document("list", "List")});
    const ReturnNoteText note = returnNoteText(registry, *records->library().sessions.find(travel), now);
    EXPECT_EQ(note.title.toStdString(), "Return note: Travel");
    EXPECT_EQ(note.text, "Return note: Travel\n" + now.localText().substr(0, 16) +
                             "\n\nWhere I was\n\n\nNext step\n\n\nOpen documents\n- Map\n- List\n");
    EXPECT_EQ(note.text.substr(0, note.caret).substr(note.caret - 12), "Where I was\n");
}

TEST_F(SessionDialogsTest, TheOrganiserIsUsedByKeysAndTellsItsControls)
{
    using Page = SessionActions::OrganiserPage;
    const Uuid travel = session("Travel");
    const Uuid front = window(travel, "w", {document("map", "Map")});
    records->change([&](SessionLibrary& library) { createWorkspace(library, front, "Trip"); });
    SessionsWindow organiser(*records, actions, registry, queue);
    organiser.showPage(Page::sessions);
    ASSERT_TRUE(QTest::qWaitForWindowActive(&organiser));
    auto& tabs = *organiser.findChild<QTabWidget*>();
    std::string seen;
    for (int step = 0; step < 3; ++step) {
        settle();
        EXPECT_EQ(unnamed(organiser), "") << tabs.tabText(tabs.currentIndex()).toStdString();
        EXPECT_TRUE(tabs.currentWidget()->isAncestorOf(QApplication::focusWidget()));
        seen += tabs.tabText(tabs.currentIndex()).toStdString() + " ";
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_PageDown, Qt::ControlModifier);
    }
    EXPECT_EQ(seen, "Sessions Calendar Workspaces ");
    EXPECT_EQ(tabs.currentIndex(), 0) << "around";
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_PageUp, Qt::ControlModifier);
    EXPECT_EQ(tabs.currentIndex(), 2);

    organiser.resize(900, 500);
    bool forgets = false;
    QObject::connect(organiser.findChild<DocumentPreviews*>(), &DocumentPreviews::forgotten, &organiser,
                     [&forgets] { forgets = true; });
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Escape);
    EXPECT_FALSE(organiser.isVisible());
    EXPECT_TRUE(forgets) << "texts are kept while it is seen";
    organiser.showPage(Page::workspaces);
    EXPECT_EQ(organiser.size(), QSize(900, 500)) << "it comes back as it was left";

    ask();
    for (const char* const start :
         {"Empty", "Project folder", "From checkpoint…", "From an existing session’s layout"}) {
        choose(QString::fromUtf8(start));
        EXPECT_EQ(unnamed(*dialog), "") << start;
    }
}

}  // namespace
}  // namespace penmark
