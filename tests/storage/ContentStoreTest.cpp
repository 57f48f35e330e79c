// SPDX-License-Identifier: GPL-3.0-or-later
#include "storage/ContentStore.h"

#include "base/PiecewiseSource.h"
#include "base/Sha256.h"
#include "storage/ChunkCodec.h"
#include "storage/FaultyVfs.h"
#include "storage/RecoveryError.h"
#include "storage/RecoveryStore.h"
#include "storage/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace penmark {
namespace {

const std::string missing = "The recovery content is missing or damaged. The library has not been reset.";

class ContentStoreTest : public testing::Test {
protected:
    std::string store(std::string_view text)
    {
        const auto prepared = content.prepareText(text);
        return library.transaction([&] { return content.storeText(prepared); });
    }
    std::string count(const std::string& table) { return library.query("SELECT count(*) FROM " + table)[0][0]; }

    std::string loadFailure(const std::string& hash)
    {
        try {
            content.loadText(hash);
        } catch (const RecoveryError& error) {
            return error.what();
        }
        return "no failure";
    }

    // A text of this many different chunks and some bytes more.
    static std::string textOf(std::size_t chunks, std::size_t more = 0)
    {
        std::string text;
        for (std::size_t i = 0; text.size() < chunks * ContentStore::chunkSize + more; ++i)
            text += std::to_string(i) + (i % 7 == 0 ? " é\n" : " words ");
        text.resize(chunks * ContentStore::chunkSize + more);
        while (!text.empty() && static_cast<unsigned char>(text.back()) >= 0x80)
            text.back() = 'x', text[text.size() - 2] = 'x';
        return text;
    }

    TemporaryFolder folder;
    RecoveryStore library{{folder.path(), {}}};
    ContentStore content{library};
};

// Chunks are cut by byte: the sizes around 64 KiB and a character across the cut must come back whole.
TEST_F(ContentStoreTest, ReturnsWhatWasStored)
{
    const std::string chunk(ContentStore::chunkSize, 'a');
    for (const std::string& text : {std::string(), std::string("x"), chunk, chunk + "b", chunk.substr(1) + "é",
                                    chunk + chunk, std::string(3, '\0'), textOf(9, 77), textOf(40)}) {
        SCOPED_TRACE(text.size());
        const std::string hash = store(text);
        EXPECT_EQ(hash, sha256(text));
        EXPECT_EQ(content.loadText(hash), text);
        EXPECT_EQ(content.loadText(store(text)), text);
    }
}

// However a text is cut in memory, its rows are the same.
TEST_F(ContentStoreTest, StoresATextInPiecesAsOneInAString)
{
    for (const std::string& text : {std::string(), std::string("é"), textOf(1), textOf(6, 77)}) {
        for (const std::size_t pieceSize : {std::size_t{13}, std::size_t{4099}, ContentStore::chunkSize}) {
            SCOPED_TRACE(std::to_string(text.size()) + " in " + std::to_string(pieceSize));
            library.execute("DELETE FROM content");
            library.execute("DELETE FROM chunks");
            const PiecewiseSource source(text, pieceSize);
            const auto prepared = content.prepareText(source);
            const auto again = prepared;  // a copy refers to the same source
            EXPECT_EQ(prepared.contentHash(), sha256(text));
            EXPECT_EQ(content.loadText(library.transaction([&] { return content.storeText(prepared); })), text);
            const auto rows = library.query("SELECT hash,body FROM chunks ORDER BY hash");
            library.execute("DELETE FROM chunks");
            store(text);
            EXPECT_EQ(library.query("SELECT hash,body FROM chunks ORDER BY hash"), rows);
            // Chunks that were there when it was prepared are compressed anew once they are gone.
            const auto known = content.prepareText(source);
            library.execute("DELETE FROM chunks");
            library.transaction([&] { content.storeText(known); });
            EXPECT_EQ(content.loadText(library.transaction([&] { return content.storeText(again); })), text);
        }
    }
}

TEST_F(ContentStoreTest, KeepsEachChunkOnceAndNamesThemInTheManifest)
{
    const std::string chunk(ContentStore::chunkSize, 'a');
    const std::string hash = sha256(chunk);
    store(chunk + chunk + "b");
    EXPECT_EQ(library.query("SELECT body FROM content")[0][0],
              "[\"" + hash + "\",\"" + hash + "\",\"" + sha256("b") + "\"]");
    EXPECT_EQ(count("chunks"), "2");
    store(chunk + chunk + "b");
    store(chunk + "c");
    EXPECT_EQ(count("chunks"), "3");
    EXPECT_EQ(count("content"), "2");
    store("");
    EXPECT_EQ(library.query("SELECT body FROM content WHERE hash=?", {sha256("")})[0][0], "[]");
    EXPECT_EQ(count("chunks"), "3");
}

TEST_F(ContentStoreTest, ADamagedTextIsRefusedAndTheOthersStillLoad)
{
    const std::string text = textOf(6);
    const std::string hash = store(text);
    const std::string other = store("other");
    const std::string third =
        sha256(std::string_view(text).substr(2 * ContentStore::chunkSize, ContentStore::chunkSize));
    const std::string body = library.query("SELECT body FROM chunks WHERE hash=?", {third})[0][0];
    const auto putChunk = [&](std::string_view bytes) {
        library.execute("INSERT OR REPLACE INTO chunks(hash,body) VALUES(?,?)", {third, Blob{bytes}});
    };

    for (const std::size_t at : {std::size_t{0}, body.size() / 2, body.size() - 1}) {
        std::string flipped = body;
        flipped[at] = static_cast<char>(flipped[at] ^ 1);
        putChunk(flipped);
        EXPECT_EQ(loadFailure(hash), missing) << at;
    }
    ChunkCodec codec;
    putChunk(codec.compress("a sound stream of something else"));
    EXPECT_EQ(loadFailure(hash), missing);
    library.execute("DELETE FROM chunks WHERE hash=?", {third});
    EXPECT_EQ(loadFailure(hash), missing);
    putChunk(body);
    EXPECT_EQ(content.loadText(hash), text);

    for (const char* manifest : {"", "[", "{}", "[1]", "null", "[]", "[\"nothing\"]"}) {
        library.execute("UPDATE content SET body=? WHERE hash=?", {Blob{manifest}, hash});
        EXPECT_EQ(loadFailure(hash), missing) << manifest;
    }
    // A manifest that claims 64 GB of a chunk of six bytes.
    std::string endless = "[\"" + other + "\"";
    for (int i = 0; i < 1'000'000; ++i)
        endless += ",\"" + other + "\"";
    library.execute("UPDATE content SET body=? WHERE hash=?", {Blob{endless + "]"}, hash});
    EXPECT_EQ(loadFailure(hash), missing);
    EXPECT_EQ(loadFailure(sha256("never stored")), missing);
    EXPECT_EQ(content.loadText(other), "other");
}

// A row whose hash is right all the same may hold bytes that are no text.
TEST_F(ContentStoreTest, BytesThatAreNoTextAreRefused)
{
    EXPECT_EQ(loadFailure(store("\xff\xfe")), missing);
}

TEST_F(ContentStoreTest, PreviewShowsTheBeginning)
{
    const std::string note = "\n… Preview shortened. Recover as New Document to inspect the full version.";
    const std::string whole(16'384, 'p');
    const std::string cut = std::string(16'383, 'p') + "é and more";
    EXPECT_EQ(content.previewText(store("")), "(Empty document)");
    EXPECT_EQ(content.previewText(store(whole)), whole);
    EXPECT_EQ(content.previewText(store(whole + "q")), whole + note);
    EXPECT_EQ(content.previewText(store(cut)), std::string(16'383, 'p') + "\uFFFD" + note);
    EXPECT_EQ(content.previewText(store(std::string(70'000, 'p'))), whole + note);

    const std::string hash = store("damaged later");
    library.execute("UPDATE chunks SET body=x'00' WHERE hash=?", {hash});
    EXPECT_THROW(
        {
            try {
                content.previewText(hash);
            } catch (const RecoveryError& error) {
                EXPECT_EQ(error.which(), RecoveryError::Case::storage);
                throw;
            }
        },
        RecoveryError);
    library.execute("DELETE FROM chunks WHERE hash=?", {hash});
    EXPECT_THROW(content.previewText(hash), RecoveryError);
}

// Between preparing a text and storing it, others may prune chunks that were there, or store them.
TEST_F(ContentStoreTest, StoresWhatIsMissingWhenItsTurnComes)
{
    const std::string text = textOf(6);
    store(text);
    const auto prepared = content.prepareText(text);
    library.execute("DELETE FROM chunks");
    library.execute("DELETE FROM content");
    const std::string hash = library.transaction([&] { return content.storeText(prepared); });
    EXPECT_EQ(content.loadText(hash), text);

    const std::string second = textOf(5, 9);
    const auto early = content.prepareText(second);
    store(second);
    EXPECT_EQ(content.loadText(library.transaction([&] { return content.storeText(early); })), second);
}

// Fails the first call to the disk, then the second, … until a store gets through: nothing half-written may stay, and
// what was there before must still load.
TEST(ContentStoreFaults, LeaveNothingBehindWhicheverCallFails)
{
    FaultyVfs disk;
    for (const auto mode : {FaultyVfs::Mode::once, FaultyVfs::Mode::fromThenOn}) {
        const TemporaryFolder folder;
        std::optional<RecoveryStore> library;
        library.emplace(RecoveryConfiguration{folder.path(), {}});
        const auto store = [&](std::string_view text) {
            return library->transaction([&] { return ContentStore(*library).storeText(text); });
        };
        const auto load = [&](const std::string& hash) { return ContentStore(*library).loadText(hash); };
        const std::string kept = store("kept");
        const std::string chunks = library->query("SELECT count(*) FROM chunks")[0][0];
        int points = 0;
        for (int n = 1;; ++n) {
            SCOPED_TRACE(n);
            const std::string text(200'000, static_cast<char>('a' + n % 26));
            const std::string numbered = std::to_string(n) + text;
            disk.failAt(n, mode);
            std::string hash;
            try {
                hash = store(numbered);
            } catch (const RecoveryError& error) {
                EXPECT_EQ(error.which(), RecoveryError::Case::storage);
            }
            const bool failed = disk.hasFailed();
            disk.failAt(0, mode);
            if (!failed) {
                EXPECT_EQ(load(hash), numbered);
                break;
            }
            ++points;
            // As after a crash: the library is opened anew, and the journal decides.
            library.reset();
            library.emplace(RecoveryConfiguration{folder.path(), {}});
            ASSERT_TRUE(library->integrityCheck());
            EXPECT_EQ(load(kept), "kept");
            // An acknowledged text is there; one that failed is there whole or not at all.
            const auto rows = library->query("SELECT 1 FROM content WHERE hash=?", {sha256(numbered)});
            EXPECT_TRUE(hash.empty() || !rows.empty());
            if (rows.empty())
                EXPECT_EQ(library->query("SELECT count(*) FROM chunks")[0][0], chunks);
            else
                EXPECT_EQ(load(sha256(numbered)), numbered);
            library->execute("DELETE FROM content WHERE hash<>?", {kept});
            library->execute("DELETE FROM chunks WHERE hash<>?", {kept});
        }
        EXPECT_GT(points, 5);
    }
}

}  // namespace
}  // namespace penmark
