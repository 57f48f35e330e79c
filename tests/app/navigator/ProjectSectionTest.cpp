// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/navigator/ProjectSection.h"

#include "CpuTime.h"
#include "app/navigator/DraggedRows.h"
#include "app/navigator/SectionsFixture.h"
#include "base/FileDescriptor.h"
#include "storage/TemporaryFolder.h"

#include <QAbstractItemModelTester>
#include <QDir>
#include <QMimeData>
#include <QPushButton>
#include <QStandardPaths>
#include <filesystem>

namespace penmark {
namespace {

namespace fs = std::filesystem;

TEST(IgnoreRules, MatchThePatternsOfAFolder)
{
    struct Case {
        const char* patterns;
        const char* ignored;  // "/" behind folders
        const char* kept;
    };
    const Case cases[] = {
        {"*.o\n# *.c\n\n", "a.o .o", "a.c o a.ob"},
        {"build/\n", "build/", "build rebuild/"},
        {"/top\r\n", "top top/", "stop"},
        {"a?c[0-9]\n", "abc1 a-c9", "ac1 abcd abc"},
        {"[!a]b\n[x-\n", "bb [x-", "ab x"},
        {"*\n!keep*\n!*/\n", "a", "keep keeper src/"},
        {"a*b*c\n", "abc axxbxxc aabbcc", "ab acb"},
        {"\\#x\n\\!y\nz\\ \n", "#x !y", "x y z"},
        {"doc/*.txt\n**/tmp/x\n", "", "a.txt x"},
        {"**/tmp\ntmp2/**\n", "tmp", "tmp2/"},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.patterns);
        const auto rules = IgnoreRules::make(nullptr, "project", each.patterns);
        ASSERT_TRUE(rules);
        for (const bool ignored : {true, false})
            for (QString name :
                 QString::fromUtf8(ignored ? each.ignored : each.kept).split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
                const bool isFolder = name.endsWith(QLatin1Char('/'));
                name.chop(isFolder);
                EXPECT_EQ(rules->isIgnored(name.toStdString(), isFolder), ignored) << name.toStdString();
            }
    }
    EXPECT_FALSE(IgnoreRules::make(nullptr, "project", "# nothing\n"));
}

TEST(IgnoreRules, HoldForFoldersBelow)
{
    const auto top = IgnoreRules::make(nullptr, "project", "*.log\n/out\ndoc/*.txt\nsrc/**/gen\n!kept.log\n");
    const auto src = IgnoreRules::make(top, "src", "");
    const auto deep = IgnoreRules::make(src, "deep", "*.tmp\n!a.log\n");
    const auto doc = IgnoreRules::make(top, "doc", "!b.txt\n");
    EXPECT_TRUE(src->isIgnored("x.log", false));
    EXPECT_FALSE(src->isIgnored("kept.log", false));
    EXPECT_FALSE(src->isIgnored("out", true)) << "of the top only";
    EXPECT_TRUE(src->isIgnored("gen", true)) << "stars stand for no folder too";
    EXPECT_TRUE(deep->isIgnored("gen", true));
    EXPECT_TRUE(deep->isIgnored("x.tmp", false));
    EXPECT_FALSE(src->isIgnored("x.tmp", false));
    EXPECT_FALSE(deep->isIgnored("a.log", false)) << "the folder itself goes first";
    EXPECT_TRUE(doc->isIgnored("a.txt", false));
    EXPECT_FALSE(doc->isIgnored("b.txt", false));
    EXPECT_FALSE(top->isIgnored("a.txt", false));
}

/// A project in a folder of its own.
class ProjectSectionTest : public SectionsFixture {
protected:
    ProjectSectionTest() : top(folder.path() / "Notes")
    {
        write("a10.md");
        write("a2.md");
        write("B.md");
        write("sub/inside.md");
        write("sub/skip.o");
        write("out/made.md");
        write(".hidden");
        write(".gitignore", "*.o\nout/\n");
        PenmarkProject project;
        project.id = numbered(40);
        project.name = "Notes";
        project.path = top;
        source->given.projects.put(project);
    }
    void write(const std::string& name, const std::string& text = {})
    {
        fs::create_directories((top / name).parent_path());
        FileDescriptor::open(top / name, O_WRONLY | O_CREAT | O_TRUNC).writeAll(text);
    }
    ProjectSection& projects() const { return static_cast<ProjectSection&>(section("projects")); }
    /// Waits until the rows are these, and says what they are.
    std::string wait(const std::string& wanted)
    {
        (void)QTest::qWaitFor([&] { return rows("projects") == wanted; }, 5000);
        return rows("projects");
    }
    void expectRows(const std::string& wanted) { EXPECT_EQ(wait(wanted), wanted); }
    void expand(const char* title)
    {
        select("projects", title);
        key(Qt::Key_Right);
    }
    void showExpanded()
    {
        show();
        QObject::connect(&view, &NavigatorView::failed, &view,
                         [this](const QString& text) { failure = text.toStdString(); });
        QObject::connect(&view, &NavigatorView::fileMoved, &view, [this](const fs::path& from, const fs::path& to) {
            moved += from.filename().string() + ">" + to.lexically_relative(top).string() + " ";
        });
        expand("Notes");
        ASSERT_EQ(wait(all), all);
    }

    bool isQuiet()
    {
        return QTest::qWaitFor([&] { return !projects().tree().isBusy(); }, 10'000);
    }

    const std::string all = "-Notes .+out~ .+sub .a2.md .a10.md .B.md";
    TemporaryFolder folder;
    fs::path top;
    std::string failure;
    std::string moved;
};

TEST_F(ProjectSectionTest, IsReadAsItIsExpanded)
{
    showExpanded();
    const QAbstractItemModelTester tester(tree->model(), QAbstractItemModelTester::FailureReportingMode::Fatal);
    ASSERT_TRUE(isQuiet());
    QSignalSpy changed(tree->model(), &QAbstractItemModel::dataChanged);
    projects().tree().refresh();
    ASSERT_TRUE(isQuiet());
    for (const QList<QVariant>& each : changed)
        EXPECT_NE(each.at(0).toModelIndex().data().toString(), QStringLiteral("a2.md"))
            << "a name that is being typed there would be lost";
    expand("sub");
    expectRows("-Notes .+out~ .-sub ..inside.md ..skip.o~ .a2.md .a10.md .B.md");
    EXPECT_EQ(spoken("projects", "skip.o"), "skip.o, File, ignored");
    expand("out");
    expectRows("-Notes .-out~ ..made.md~ .-sub ..inside.md ..skip.o~ .a2.md .a10.md .B.md");
    select("projects", "inside.md");
    key(Qt::Key_Return);
    key(Qt::Key_Down, Qt::ShiftModifier);
    key(Qt::Key_Return, Qt::ControlModifier);
    EXPECT_EQ(actions.take(), "openFiles inside.md, openFilesNew inside.md skip.o");

    filter->setText(QStringLiteral("insidé"));
    EXPECT_EQ(rows("projects"), "-Notes .-sub ..inside.md");
    filter->setText(QStringLiteral("a2"));
    EXPECT_EQ(rows("projects"), "-Notes .a2.md");
    filter->clear();
    const NavigatorState state = view.state();
    EXPECT_EQ(state.expandedPaths.size(), 3u);

    // Another window begins with what this one has kept.
    auto* const second = new GivenSessions(headers);
    second->given = source->given;
    NavigatorView other(headers);
    other.setSessions(std::unique_ptr<SessionSource>(second), actions, numbered(11));
    other.setState(state);
    other.show();
    const auto& otherModel = *static_cast<const NavigatorModel*>(other.findChild<NavigatorTree*>()->model());
    EXPECT_TRUE(QTest::qWaitFor([&] { return dumpTree(otherModel.section(5)) == rows("projects"); }, 60'000))
        << dumpTree(otherModel.section(5));
}

TEST_F(ProjectSectionTest, FollowsTheDisk)
{
    showExpanded();
    expand("sub");
    ASSERT_TRUE(QTest::qWaitFor([&] { return rows("projects").find("inside") != std::string::npos; }, 60'000));
    ASSERT_TRUE(isQuiet()) << "what is read again behind the first watching";
    select("projects", "B.md");
    write("sub/more.md");
    fs::remove(top / "a2.md");
    const std::string wanted = "-Notes .+out~ .-sub ..inside.md ..more.md ..skip.o~ .a10.md .B.md";
    expectRows(wanted);
    EXPECT_EQ(current(), "B.md");

    projects().tree().setWatchLimit(0);
    section("projects").setExpanded(0, false);
    EXPECT_EQ(rows("projects"), "+Notes") << "nothing to watch";
    section("projects").setExpanded(0, true);
    const std::string refresh = "(Changes are not watched: too many folders. Refresh)";
    expectRows(wanted + " " + refresh);
    ASSERT_TRUE(isQuiet()) << "expanding reads it again";
    write("C.md");
    QTest::qWait(300);
    EXPECT_EQ(rows("projects").find("C.md"), std::string::npos);
    select("projects", "Changes are not watched: too many folders. Refresh");
    key(Qt::Key_Return);
    expectRows(wanted + " .C.md " + refresh);
}

TEST_F(ProjectSectionTest, ChangesFilesAndReplacesNone)
{
    showExpanded();
    select("projects", "a2.md");
    key(Qt::Key_F2);
    typeName("z  9.md");
    const std::string renamed = "-Notes .+out~ .+sub .a10.md .B.md .z  9.md";
    expectRows(renamed);
    EXPECT_EQ(moved, "a2.md>z  9.md ");

    for (const char* name : {"B.md", "sub", "a/b", "..", ""}) {
        SCOPED_TRACE(name);
        select("projects", "a10.md");
        failure.clear();
        key(Qt::Key_F2);
        typeName(name);
        EXPECT_TRUE(QTest::qWaitFor([&] { return !failure.empty(); }, 60'000));
        EXPECT_TRUE(fs::exists(top / "a10.md"));
    }
    EXPECT_EQ(moved, "a2.md>z  9.md ");

    const QModelIndex sub = rowOf("projects", "sub");
    EXPECT_FALSE(drop({sub}, sub)) << "into itself";
    EXPECT_FALSE(drop({rowOf("projects", "B.md")}, rowOf("projects", "a10.md"))) << "it is there";
    ASSERT_TRUE(drop({rowOf("projects", "B.md")}, sub));
    EXPECT_TRUE(QTest::qWaitFor([&] { return fs::exists(top / "sub/B.md"); }, 60'000));
    EXPECT_TRUE(QTest::qWaitFor([&] { return moved == "a2.md>z  9.md B.md>sub/B.md "; }, 60'000)) << moved;
    write("sub/a10.md", "kept");
    failure.clear();
    ASSERT_TRUE(drop({rowOf("projects", "a10.md")}, rowOf("projects", "sub")));
    EXPECT_TRUE(QTest::qWaitFor([&] { return !failure.empty(); }, 60'000));
    EXPECT_EQ(failure, "“a10.md” is there already. Nothing was replaced.");
    EXPECT_EQ(readFile(top / "sub/a10.md"), "kept");

    EXPECT_TRUE(makeFile(top / "sub/a10.md")) << "neither does a new one";
    EXPECT_EQ(readFile(top / "sub/a10.md"), "kept");
    EXPECT_TRUE(makeFolder(top / "sub"));
    EXPECT_FALSE(makeFolder(top / "new"));
    EXPECT_EQ(makeFile(top / "nowhere/x"), QStringLiteral("“x” could not be made: No such file or directory."));

    const std::unique_ptr<QMimeData> data(model().mimeData({rowOf("projects", "z  9.md")}));
    EXPECT_EQ(DraggedRows::read(*data).files, (std::vector<std::string>{top / "z  9.md"}));
    EXPECT_EQ(data->urls().value(0).toLocalFile().toStdString(), (top / "z  9.md").string()) << "for other programs";
}

TEST_F(ProjectSectionTest, GivesBackWhatWentToTheTrash)
{
    QDir().mkpath(QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation));
    write("a2.md", "text");
    showExpanded();
    auto* const undo = view.findChild<UndoStrip*>();
    select("projects", "a2.md");
    key(Qt::Key_Delete);
    ASSERT_TRUE(QTest::qWaitFor([&] { return undo->isVisible() || !failure.empty(); }, 60'000));
    EXPECT_EQ(failure, "");
    EXPECT_FALSE(fs::exists(top / "a2.md"));
    EXPECT_EQ(undo->findChild<QPushButton*>()->accessibleName(), QStringLiteral("Undo: “a2.md” moved to the trash"));
    key(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_TRUE(QTest::qWaitFor([&] { return fs::exists(top / "a2.md"); }, 60'000));
    EXPECT_EQ(readFile(top / "a2.md"), "text");
    expectRows(all);

    // What a trash holds: the file, and beside it where it was.
    write("../trash/files/x");
    write("../trash/info/x.trashinfo");
    EXPECT_FALSE(restoreFromTrash(folder.path() / "trash/files/x", top / "x"));
    EXPECT_FALSE(fs::exists(folder.path() / "trash/info/x.trashinfo"));
    write("../trash/files/x");
    EXPECT_TRUE(restoreFromTrash(folder.path() / "trash/files/x", top / "x")) << "something is there by now";
    EXPECT_TRUE(fs::exists(folder.path() / "trash/files/x"));
}

TEST_F(ProjectSectionTest, SaysWhatCannotBeShown)
{
    PenmarkProject gone;
    gone.id = numbered(41);
    gone.name = "Gone";
    gone.path = folder.path() / "Nowhere";
    source->given.projects.put(gone);
    fs::create_directory_symlink("..", top / "sub/up");
    fs::create_directory_symlink("../sub", top / "out/side");
    write("sub/b\xff.md");
    show();
    ASSERT_EQ(wait("+Notes Gone~"), "+Notes Gone~") << "before anything is expanded";
    EXPECT_EQ(section("projects").row(1).place, QStringLiteral("Folder not found"));
    select("projects", "Gone");
    key(Qt::Key_Return);
    EXPECT_EQ(actions.take(), "locate 41");
    EXPECT_EQ(texts(openMenu()), "Rename…, Locate Folder…, Refresh, Remove Project");
    QApplication::activePopupWidget()->close();

    expand("Notes");
    ASSERT_EQ(wait(all + " Gone~"), all + " Gone~");
    expand("out");
    const std::string below = "-Notes .-out~ ..+side~ ..made.md~ ";
    expectRows(below + ".+sub .a2.md .a10.md .B.md Gone~");
    expand("sub");
    ASSERT_TRUE(QTest::qWaitFor([&] { return rows("projects").find("inside") != std::string::npos; }, 60'000));
    EXPECT_EQ(rows("projects"), below + ".-sub ..up ..b\uFFFD.md ..inside.md ..skip.o~ .a2.md .a10.md .B.md Gone~")
        << "the link leads up";
    EXPECT_EQ(spoken("projects", "up"), "up, Folder, a link to one that it is in");

    select("projects", "b\uFFFD.md");
    key(Qt::Key_Return);
    key(Qt::Key_F2);
    typeName("b\uFFFD.md");
    EXPECT_TRUE(fs::exists(top / "sub/b\xff.md")) << "the same name as it is shown";
    key(Qt::Key_F2);
    typeName("b.md");
    EXPECT_TRUE(QTest::qWaitFor([&] { return fs::exists(top / "sub/b.md"); }, 60'000));
    EXPECT_FALSE(fs::exists(top / "sub/b\xff.md"));

    source->given.projects = {};
    emit source->changed();
    EXPECT_EQ(rows("projects"), "(Open Project Folder…)");
    select("projects", "Open Project Folder…");
    actions.take();
    key(Qt::Key_Return);
    EXPECT_EQ(actions.take(), "askForProject");
}

TEST(FolderListing, KeepsToItsLimit)
{
    TemporaryFolder folder;
    for (int number = 0; number < 10'020; ++number)
        FileDescriptor::open(folder.path() / ("f" + std::to_string(number)), O_WRONLY | O_CREAT);
    fs::create_directory(folder.path() / "z");
    const auto begin = cpuTime();
    const FolderListing listing = readFolder(folder.path(), nullptr, false);
    EXPECT_LT((cpuTime() - begin).count(), granted(0.15));
    ASSERT_EQ(listing.entries.size(), FolderListing::most);
    EXPECT_EQ(listing.beyond, 21u);
    EXPECT_EQ(listing.entries[0]->name, "z") << "a folder is never among what is left out";
    EXPECT_EQ(listing.entries[3]->name, "f2");
    EXPECT_TRUE(readFolder(folder.path() / "z/none", nullptr, false).problem);
}

}  // namespace
}  // namespace penmark
