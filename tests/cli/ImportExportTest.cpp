// SPDX-License-Identifier: GPL-3.0-or-later
#include "cli/PenmarkctlTest.h"

#include <set>

#include <sys/stat.h>

namespace penmark {
namespace {

namespace fs = std::filesystem;

class ImportTest : public PenmarkctlTest {
protected:
    // The titles of the documents, in the order in which their identifiers were printed.
    std::string titles(const std::string& printed) const
    {
        const auto store = openLibrary();
        std::string joined;
        for (const std::string& id : split(printed)) {
            const auto document = DocumentStore(*store).loadDocument(Uuid::parse(id).value());
            joined.append(joined.empty() ? "" : "|").append(document ? document->title : "nothing");
        }
        return joined;
    }
};

// All kinds of things that a folder can hold, in one.
TEST_F(ImportTest, StoresEveryTextOfATreeInOrder)
{
    put("tree/b.txt", "b");
    put("tree/a/2.txt", "2");
    put("tree/a/10.txt", encodeText("zehn", RecoveryEncoding::utf16BE));
    put("tree/a/.hidden", "hidden");
    put("tree/c/empty", "");
    put("tree/c/image", std::string("\x89PNG\r\n\x1a\n\0", 9));
    put("tree/.git/HEAD", "ref");
    put("outside/o.txt", "o");
    ASSERT_EQ(mkfifo(path("tree/pipe").c_str(), 0600), 0);
    fs::create_directory_symlink("..", path("tree/c/loop"));
    fs::create_directory_symlink(path("outside"), path("tree/folder-link"));
    fs::create_symlink(path("outside/o.txt"), path("tree/z-link"));
    fs::create_symlink("nowhere", path("tree/dangling"));
    fs::create_symlink("self", path("tree/self"));
    fs::create_symlink("/proc/self/mem", path("tree/unreadable"));

    const ProgramResult result = run({"import", "tree"});
    EXPECT_EQ(titles(result.output), ".hidden|10.txt|2.txt|b.txt|empty|z-link");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(split(result.errors), (Words{
                                        "penmarkctl: tree/.git: Folders of version control are not entered.",
                                        "penmarkctl: tree/c/loop: Links to folders are not followed.",
                                        "penmarkctl: tree/dangling: The link leads nowhere.",
                                        "penmarkctl: tree/folder-link: Links to folders are not followed.",
                                        "penmarkctl: tree/pipe: Not a regular file.",
                                        "penmarkctl: tree/self: Too many levels of symbolic links",
                                        std::string("penmarkctl: tree/c/image: ") + refusal,
                                        "penmarkctl: tree/unreadable: Input/output error",
                                        "penmarkctl: Skipped what is not a text file: 6.",
                                        "penmarkctl: Could not be read: 2.",
                                    }));
    EXPECT_EQ(output({"cat", split(result.output)[1]}), "zehn");
    const auto document = DocumentStore(*openLibrary()).loadDocument(*Uuid::parse(split(result.output)[1]));
    EXPECT_EQ(document->encoding, RecoveryEncoding::utf16BE);
    EXPECT_EQ(document->originPath, path("tree/a/10.txt"));
    EXPECT_FALSE(document->externalPath);
}

TEST_F(ImportTest, TakesWhatIsNamedAndTellsHowItWent)
{
    put("x.txt", "x");
    put("binary", std::string("\xff\x00", 2));
    put("tree/.git/description", "d");
    fs::create_directory(path("empty"));
    fs::create_directory_symlink("tree", path("link"));
    struct {
        Words words;
        std::string stored;
        int status;
    } const cases[] = {
        {{"import", "x.txt", "tree/.git", "x.txt"}, "x.txt|description|x.txt", 0},
        {{"import", "link/.git", "binary", "x.txt"}, "description|x.txt", 0},  // skipping is no failure
        {{"import", "missing", "x.txt"}, "x.txt", 1},
        {{"import", "binary"}, "", 1},
        {{"import", "empty", "link"}, "", 1},
        {{"import", "/dev/null"}, "", 1},
        // The library's own files are no texts of the user's, nor are files found under its lock.
        {{"import", "--library", path("tree/lib"), "tree", "x.txt"}, "nothing", 0},
    };
    for (const auto& [words, stored, status] : cases) {
        SCOPED_TRACE(testing::PrintToString(words));
        const ProgramResult result = run(words);
        EXPECT_EQ(titles(result.output), stored);
        EXPECT_EQ(result.status, status) << result.errors;
    }
}

class ExportTest : public PenmarkctlTest {
protected:
    std::set<std::string> names(const std::string& exported) const
    {
        std::set<std::string> found;
        for (const auto& entry : fs::directory_iterator(path(exported)))
            found.insert(entry.path().filename().native());
        return found;
    }
};

TEST_F(ExportTest, MakesNamesThatAreSafeAndDifferent)
{
    const std::string longTitle = std::string(250, 'l') + "é and more.markdown";
    for (const std::string& title :
         {std::string("plain"), std::string("notes.md"), std::string("Notes.MD"), std::string("NOTES (2).md"),
          std::string("/etc/passwd"), std::string(".hidden"), std::string(".."), std::string("Chapter 1.2"),
          std::string("tab\tand\nline"), std::string("Ünïcode"), std::string("üNÏCODE"), longTitle, longTitle})
        line({"new", "--title", title}, title);
    put("src/.profile", "p");
    put("src/Makefile", "m");
    put("other/Makefile", "n");
    for (const auto* file : {"src/.profile", "src/Makefile", "other/Makefile"})
        line({"open", file});
    put("out/PLAIN.txt", "was here before");

    EXPECT_EQ(output({"export", "out"}), "16\n");
    const std::string tail = ".markdown";
    EXPECT_EQ(names("out"),
              (std::set<std::string>{"PLAIN.txt", "plain (2).txt", "notes.md", "Notes (2).MD", "NOTES (2) (2).md",
                                     "_etc_passwd.txt", "hidden.txt", "Untitled.txt", "Chapter 1.2.txt",
                                     "tab and line.txt", "Ünïcode.txt", "üNÏCODE (2).txt", std::string(246, 'l') + tail,
                                     std::string(242, 'l') + " (2)" + tail, ".profile", "Makefile", "Makefile (2)"}));
    EXPECT_EQ(get("out/PLAIN.txt"), "was here before");
    EXPECT_EQ(get("out/plain (2).txt"), "plain");
    EXPECT_EQ(get("out/Makefile (2)"), "n");
    // Once more beside the first: nothing is overwritten.
    EXPECT_EQ(output({"export", "out"}), "16\n");
    EXPECT_EQ(names("out").size(), 33u);
    EXPECT_EQ(get("out/plain (2).txt"), "plain");
}

TEST_F(ExportTest, WritesRecordedEncodingsAndGoesOnBehindDamage)
{
    const std::string encoded = encodeText("zwölf", RecoveryEncoding::utf16LE);
    put("encoded.txt", encoded);
    line({"open", "encoded.txt"});
    const std::string damaged = line({"new", "--title", "damaged"}, "will be damaged");
    output({"discard", line({"new", "--title", "gone"}, "discarded")});
    line({"new", "--title", "sound"}, "sound");
    EXPECT_EQ(output({"export", "--all", "deep/er/out"}), "4\n");
    EXPECT_EQ(names("deep/er/out"), (std::set<std::string>{"encoded.txt", "damaged.txt", "gone.txt", "sound.txt"}));
    EXPECT_EQ(get("deep/er/out/encoded.txt"), encoded);

    openLibrary()->execute("UPDATE chunks SET body=x'00' WHERE hash=(SELECT hash FROM revisions WHERE document_id=?)",
                           {damaged});
    const ProgramResult result = run({"export", "second"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output, "2\n");
    EXPECT_EQ(result.errors, "penmarkctl: document " + damaged + " (damaged): " + missingContent + "\n");
    EXPECT_EQ(names("second"), (std::set<std::string>{"encoded.txt", "sound.txt"}));

    put("file", "in the way");
    EXPECT_EQ(failure({"export", "file"}), "penmarkctl: file: Not a directory\n");
}

}  // namespace
}  // namespace penmark
