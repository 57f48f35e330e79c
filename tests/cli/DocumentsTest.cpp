// SPDX-License-Identifier: GPL-3.0-or-later
#include "cli/PenmarkctlTest.h"
#include "storage/ContentStore.h"

namespace penmark {
namespace {

using DocumentsTest = PenmarkctlTest;

// Byte for byte, whatever the line ends, and around the size at which texts are cut.
TEST_F(DocumentsTest, CatReturnsWhatWasStored)
{
    std::string large;
    for (int i = 0; large.size() < 300'000; ++i)
        large += std::to_string(i) + " Zeile ünd\r\n";
    for (const std::string& text : {std::string(), std::string("no line end"), std::string("a\r\nb\rc\n\n"), large,
                                    std::string(ContentStore::chunkSize, 'x'), std::string("\x1b[31m is kept")}) {
        SCOPED_TRACE(text.substr(0, 20));
        const std::string id = line({"new"}, text);
        EXPECT_EQ(output({"cat", id}), text);
        EXPECT_EQ(column(output({"history", id}), 2), std::to_string(text.size()));
        put("file", text);
        EXPECT_EQ(output({"cat", line({"new", "file"})}), text);
        EXPECT_EQ(output({"cat", line({"new", "-"}, text)}), text);
    }
}

TEST_F(DocumentsTest, TitlesComeFromWhereTheySay)
{
    put("notes.md", "# Heading");
    put("bad\xff name", "x");
    const std::string blanks(5000, '\n');
    struct {
        Words words;
        std::string input;
        std::string title;
    } const cases[] = {
        {{"new", "--title", "Mine", "notes.md"}, "", "Mine"},
        {{"new", "notes.md"}, "", "notes.md"},
        {{"new", "./notes.md", "--title="}, "", "notes.md"},
        {{"new", "bad\xff name"}, "", "bad\uFFFD name"},
        {{"new"}, "\n \t \r\n  First line \r\nsecond", "First line"},
        {{"new"}, blanks + "late", "late"},
        {{"new"}, "tab\there", "tab here"},
        {{"new"}, "", "Untitled"},
        {{"new"}, " \n\t", "Untitled"},
        {{"new"}, std::string(60, 'a'), std::string(60, 'a')},
        {{"new"}, std::string(61, 'a'), std::string(59, 'a') + "…"},
        // Wide characters count twice, and a mark stays with its letter.
        {{"new"},
         "日本語日本語日本語日本語日本語日本語日本語日本語日本語日本語日本語",
         "日本語日本語日本語日本語日本語日本語日本語日本語日本語日本…"},
        {{"new"}, std::string(58, 'a') + "e\u0301 and on", std::string(58, 'a') + "e\u0301…"},
        {{"new"}, std::string(5000, 'b') + "\u00e9", std::string(59, 'b') + "…"},
    };
    for (const auto& [words, input, title] : cases) {
        const std::string id = line(words, input);
        const auto document = DocumentStore(*openLibrary()).loadDocument(*Uuid::parse(id));
        ASSERT_TRUE(document);
        EXPECT_EQ(document->title, title);
        EXPECT_FALSE(document->externalPath);
    }
    const std::string id = line({"new", "--language", "Swift", "notes.md"});
    const auto document = DocumentStore(*openLibrary()).loadDocument(*Uuid::parse(id));
    EXPECT_EQ(document->languageName, "Swift");
    EXPECT_EQ(document->originPath, path("notes.md"));
}

TEST_F(DocumentsTest, WhatIsNoTextIsRefusedWithTheFixedSentence)
{
    const std::string id = line({"new"}, "kept");
    const std::string binary("\x7f\x45\x4c\x46\x00\x80", 6);
    put("binary", binary);
    for (const Words& words : {Words{"new"}, Words{"new", "binary"}, Words{"write", id}, Words{"write", id, "binary"},
                               Words{"open", "binary"}})
        EXPECT_EQ(failure(words, binary), std::string("penmarkctl: ") + refusal + "\n");
    EXPECT_EQ(failure({"new", "missing"}), "penmarkctl: missing: No such file or directory\n");
    EXPECT_EQ(output({"cat", id}), "kept");
    EXPECT_EQ(split(output({"documents"})).size(), 1u);
}

// The bytes that go back to a file are in the encoding they came in, whatever was written meanwhile.
TEST_F(DocumentsTest, EncodingsSurviveOpenWriteAndSave)
{
    const std::string texts[] = {"grün \u1F600\n", "und blau\r\n"};
    for (const auto encoding :
         {RecoveryEncoding::utf8, RecoveryEncoding::utf8BOM, RecoveryEncoding::utf16LE, RecoveryEncoding::utf16BE}) {
        const std::string name(storedWord(encoding));
        SCOPED_TRACE(name);
        put(name, encodeText(texts[0], encoding));
        const std::string id = line({"open", name});
        EXPECT_EQ(line({"open", path(name)}), id);
        EXPECT_EQ(output({"cat", id}), texts[0]);
        line({"write", id}, encodeText(texts[1], RecoveryEncoding::utf16LE));
        EXPECT_EQ(line({"save", id}), path(name));
        EXPECT_EQ(get(name), encodeText(texts[1], encoding));
    }
}

TEST_F(DocumentsTest, SavingBindsAndNeverOverwritesWhatOthersWrote)
{
    const std::string id = line({"new"}, "one");
    EXPECT_NE(failure({"save", id}).find("no file"), std::string::npos);
    EXPECT_EQ(line({"save", id, "bound.txt"}), path("bound.txt"));
    EXPECT_EQ(get("bound.txt"), "one");
    EXPECT_EQ(line({"open", "bound.txt"}), id);
    EXPECT_EQ(column(output({"documents"}), 3), path("bound.txt"));

    put("bound.txt", "by somebody else");
    line({"write", id}, "two");
    EXPECT_EQ(failure({"save", id}), "penmarkctl: The original file changed or moved. Your text is still open in "
                                     "Penmark. Save a copy or reload the original.\n");
    EXPECT_EQ(get("bound.txt"), "by somebody else");
    EXPECT_EQ(line({"open", "bound.txt"}), id);
    EXPECT_EQ(output({"cat", id}), "by somebody else");
    EXPECT_EQ(column(output({"history", id}), 2), "16|3|3");
}

TEST_F(DocumentsTest, WritesAddRevisionsOnTheHeadThatIsNamed)
{
    const std::string id = line({"new"}, "one");
    const std::string first = column(output({"history", id}), 0);
    EXPECT_EQ(line({"write", id}, "one"), first);
    const std::string second = line({"write", "--parent", first, id}, "two");
    EXPECT_EQ(failure({"write", "--parent", first, id}, "three"),
              "penmarkctl: This document changed in another writer. Both versions have been preserved in memory; retry "
              "after reopening the library.\n");
    const std::string third = line({"write", id, "--parent", second.substr(0, 13)}, "three");
    EXPECT_EQ(column(output({"history", id}), 0), third + "|" + second + "|" + first);
    EXPECT_EQ(output({"cat", id, "--revision", first}), "one");
    EXPECT_EQ(output({"cat", id, "--revision=" + second}), "two");
    EXPECT_EQ(output({"cat", id}), "three");

    const std::string other = line({"new"}, "other");
    EXPECT_NE(failure({"cat", other, "--revision", first}).find("no revision of this document " + first),
              std::string::npos);
    EXPECT_NE(failure({"write", other, "--parent", first}, "x").find("no revision of this document " + first),
              std::string::npos);
}

TEST_F(DocumentsTest, IdentifiersMayBeShortened)
{
    {
        const auto store = openLibrary();
        DocumentStore documents(*store);
        for (const auto* id : {"ABCD1111-0000-4000-8000-000000000000", "ABCD2222-0000-4000-8000-000000000000",
                               "ABCE1111-0000-4000-8000-000000000000"}) {
            RecoveryDocument document = documents.newDocument(id);
            document.id = *Uuid::parse(id);
            documents.createWithText(document, id);
        }
    }
    for (const auto* typed : {"abce", "ABCE1", "abce1111-", "abce1111-0000-4", "abce111100004", "Abce-1111",
                              "abce1111-0000-4000-8000-000000000000"})
        EXPECT_EQ(output({"cat", typed}), "ABCE1111-0000-4000-8000-000000000000") << typed;
    EXPECT_EQ(failure({"discard", "abcd"}),
              "penmarkctl: Penmark could not complete the operation: ABCD begins the identifier of more than one "
              "document: ABCD1111-0000-4000-8000-000000000000, ABCD2222-0000-4000-8000-000000000000.\n");
    EXPECT_EQ(failure({"history", "abcf"}),
              "penmarkctl: Penmark could not complete the operation: There is no document ABCF.\n");
}

TEST_F(DocumentsTest, DiscardedDocumentsAreLeftOutUntilWrittenTo)
{
    const std::string first = line({"new"}, "first");
    const std::string second = line({"new"}, "second");
    EXPECT_EQ(output({"discard", first}), "");
    EXPECT_EQ(column(output({"documents"}), 0), second);
    EXPECT_EQ(column(output({"documents", "--all"}), 0), first + "|" + second);
    EXPECT_EQ(column(output({"documents", "--all"}), 4), "discarded|");
    EXPECT_EQ(output({"cat", first}), "first");
    line({"write", first}, "again");
    EXPECT_EQ(column(output({"documents"}), 0), first + "|" + second);
}

// Scripts rely on the records being the stored ones, and on the number of fields.
TEST_F(DocumentsTest, ListsAreStableForScripts)
{
    const std::string title = "tab\tline\nbell\a back\\slash \u202E\u009b7m csi";
    const std::string id = line({"new", "--title", title}, "text");
    EXPECT_EQ(column(output({"documents"}), 1), "tab\\tline\\nbell\\x07 back\\\\slash \\xE2\\x80\\xAE\\xC2\\x9B7m csi");
    for (const auto* text : {"b", "c", "d"})
        line({"write", id}, text);

    const auto stored = [&](const std::string& sql) {
        std::string lines;
        for (const auto& row : openLibrary()->query(sql))
            lines += row[0] + "\n";
        return lines;
    };
    EXPECT_EQ(output({"documents", "--json"}), stored("SELECT json FROM documents"));
    const std::string newestFirst = "SELECT json FROM revisions ORDER BY rowid DESC ";
    EXPECT_EQ(output({"history", id, "--json"}), stored(newestFirst));
    EXPECT_EQ(output({"history", id, "--json", "--limit", "2"}), stored(newestFirst + "LIMIT 2"));
    EXPECT_EQ(output({"history", id, "--json", "--limit=0", "--offset=3"}), stored(newestFirst + "LIMIT 9 OFFSET 3"));
    EXPECT_EQ(column(output({"history", id, "--limit", "2", "--offset", "2"}), 2), "1|4");
    {
        const auto store = openLibrary();
        DocumentStore documents(*store);
        auto head = documents.loadDocument(*Uuid::parse(id))->head;
        for (int i = 0; i < 100; ++i)
            head = documents.writeRevision(*Uuid::parse(id), head, std::to_string(i)).document.head;
    }
    EXPECT_EQ(split(output({"history", id})).size(), 100u);
    EXPECT_EQ(split(output({"history", id, "--limit", "0"})).size(), 104u);
}

// One record that cannot be read must not hide the others, and not go unsaid.
TEST_F(DocumentsTest, ADamagedRecordIsNamedBesideTheOthers)
{
    const std::string sound = line({"new"}, "sound");
    const std::string damaged = line({"new"}, "damaged");
    openLibrary()->execute("UPDATE documents SET json='{\"id\":1}' WHERE id=?", {damaged});
    for (const Words& words : {Words{"documents"}, Words{"documents", "--json"}}) {
        const ProgramResult result = run(words);
        EXPECT_EQ(result.status, 1);
        EXPECT_NE(result.output.find(sound), std::string::npos);
        EXPECT_NE(result.errors.find("document " + damaged + ": "), std::string::npos);
    }
}

}  // namespace
}  // namespace penmark
