// SPDX-License-Identifier: GPL-3.0-or-later
// What can be done when the library cannot be opened.
#include "app/penmark/FailureWindow.h"

#include "base/FileDescriptor.h"
#include "storage/DocumentStore.h"
#include "storage/TemporaryFolder.h"

#include <QDate>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTest>
#include <fstream>
#include <set>

#include <gtest/gtest.h>

namespace penmark {
namespace {

namespace fs = std::filesystem;
using Case = RecoveryError::Case;

class FailureWindowTest : public testing::Test {
protected:
    /// Makes a library with these texts.
    void makeLibrary(const std::vector<std::string>& texts)
    {
        RecoveryStore store(configuration);
        DocumentStore documents(store);
        for (const std::string& text : texts)
            documents.createWithText(documents.newDocument(text.substr(0, 5)), text);
    }
    void show(const RecoveryError& error)
    {
        window = std::make_unique<FailureWindow>(StorageInitializationStatus::failed(error), configuration, 0);
        window->askForFolder = [this](const QString&, const auto& chosen) {
            chosen(QString::fromStdString(target.string()));
        };
        window->show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(window.get()));
    }
    /// Null if it is not seen.
    QPushButton* button(const char* name) const
    {
        for (auto* each : window->findChildren<QPushButton*>()) {
            if (each->text() == QString::fromUtf8(name) && each->isVisible())
                return each;
        }
        return nullptr;
    }
    std::string label(const char* beginning) const
    {
        for (const auto* each : window->findChildren<QLabel*>()) {
            if (each->isVisible() && each->text().contains(QString::fromUtf8(beginning)))
                return each->text().toStdString();
        }
        return {};
    }
    /// Presses the button by key and waits for the end.
    void exportTexts()
    {
        QPushButton* const start = button("Export What Can Be Read…");
        ASSERT_NE(start, nullptr);
        start->setFocus();
        QTest::keyClick(start, Qt::Key_Return);
        EXPECT_EQ(button("Export What Can Be Read…"), nullptr) << "twice at the same time";
        EXPECT_FALSE(button("Open Read-Only")->isEnabled());
        ASSERT_TRUE(QTest::qWaitFor([this] { return button("Export What Can Be Read…") != nullptr; }, 20'000));
        EXPECT_TRUE(button("Open Read-Only")->isEnabled());
    }
    std::multiset<std::string> textsIn(const std::string& name) const
    {
        std::multiset<std::string> found;
        for (const auto& entry : fs::directory_iterator(target / name))
            found.insert(readFile(entry.path()));
        return found;
    }

    TemporaryFolder folder{TemporaryFolder::inMemory()};
    RecoveryConfiguration configuration{folder.path() / "library", {}};
    fs::path target = folder.path();
    std::string exported = "Penmark export " + QDate::currentDate().toString(Qt::ISODate).toStdString();
    std::unique_ptr<FailureWindow> window;
};

TEST_F(FailureWindowTest, OffersReadingOnlyWhereThatCanHelp)
{
    show(RecoveryError::storage("no library"));
    EXPECT_EQ(button("Open Read-Only"), nullptr);
    EXPECT_NE(button("Try Again"), nullptr);
    makeLibrary({"one"});
    struct {
        RecoveryError error;
        bool offers;
    } const cases[] = {{RecoveryError::storage("damaged"), true},
                       {RecoveryError(Case::locked), true},
                       {RecoveryError(Case::newerSchema, "9"), false}};
    for (const auto& each : cases) {
        SCOPED_TRACE(each.error.what());
        show(each.error);
        EXPECT_NE(label(each.error.what()), "");
        for (const char* name : {"Open Read-Only", "Export What Can Be Read…"})
            EXPECT_EQ(button(name) != nullptr, each.offers) << name;
        std::vector<LibraryAccess> wishes;
        QObject::connect(window.get(), &FailureWindow::tryAgain, window.get(),
                         [&](LibraryAccess access) { wishes.push_back(access); });
        if (each.offers)
            button("Open Read-Only")->click();
        button("Try Again")->click();
        EXPECT_EQ(wishes.size(), each.offers ? 2U : 1U);
        EXPECT_EQ(wishes.front(), each.offers ? LibraryAccess::readOnly : LibraryAccess::readWrite);
        EXPECT_EQ(wishes.back(), LibraryAccess::readWrite);
    }
    fs::resize_file(configuration.root / "recovery.sqlite", 0);
    show(RecoveryError::storage("cut off"));
    EXPECT_EQ(button("Open Read-Only"), nullptr);
}

TEST_F(FailureWindowTest, ExportsWhatCanBeReadAndNamesTheRest)
{
    makeLibrary({"first text", "lost text", "third text"});
    RecoveryStore(configuration)
        .execute("DELETE FROM chunks WHERE hash=(SELECT hash FROM revisions ORDER BY rowid LIMIT 1 OFFSET 1)");
    const std::string before = readFile(configuration.root / "recovery.sqlite");
    show(RecoveryError::storage("damaged"));
    exportTexts();
    EXPECT_EQ(textsIn(exported), (std::multiset<std::string>{"first text", "third text"}));
    EXPECT_EQ(label("Texts written"), "Texts written: 2\nProblems: 1\nFolder: " + (target / exported).string());
    const auto* problems = window->findChild<QPlainTextEdit*>();
    ASSERT_TRUE(problems->isVisible());
    EXPECT_NE(problems->toPlainText().indexOf(QStringLiteral("(lost )")), -1) << problems->toPlainText().toStdString();

    // Again: nothing that was written is touched.
    std::ofstream(target / exported / "first.txt") << "mine";
    exportTexts();
    EXPECT_EQ(readFile(target / exported / "first.txt"), "mine");
    EXPECT_EQ(textsIn(exported + " (2)"), (std::multiset<std::string>{"first text", "third text"}));
    EXPECT_EQ(readFile(configuration.root / "recovery.sqlite"), before);
}

TEST_F(FailureWindowTest, SaysWhyNothingIsExportedAndLeavesNoFolder)
{
    makeLibrary({"text"});
    show(RecoveryError::storage("damaged"));
    target = configuration.root;
    exportTexts();
    EXPECT_NE(label("The export ended early."), "");
    EXPECT_FALSE(fs::exists(target / exported)) << "in the library's own folder";
    target = folder.path() / "none";
    exportTexts();
    EXPECT_NE(label("No such file or directory"), "");
    target = folder.path();
    std::ofstream(configuration.root / "recovery.sqlite") << std::string(4096, 'x');
    exportTexts();
    EXPECT_NE(label("file is not a database"), "");
    EXPECT_FALSE(fs::exists(target / exported));
}

TEST_F(FailureWindowTest, AnExportCanBeCancelled)
{
    makeLibrary(std::vector<std::string>(3'000, "text"));
    show(RecoveryError::storage("damaged"));
    button("Export What Can Be Read…")->click();
    ASSERT_TRUE(QTest::qWaitFor([this] { return label("Exporting ") != ""; }, 20'000));
    button("Cancel Export")->click();
    ASSERT_TRUE(QTest::qWaitFor([this] { return label("The export was cancelled.") != ""; }, 20'000));
    const std::size_t written = textsIn(exported).size();
    EXPECT_LT(written, 3'000U);
    EXPECT_NE(label(("Texts written: " + std::to_string(written)).c_str()), "") << label("Texts written");

    button("Export What Can Be Read…")->click();
    window.reset();  // closing it ends the work
}

}  // namespace
}  // namespace penmark
