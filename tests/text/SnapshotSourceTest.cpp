// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/SnapshotSource.h"

#include "text/RandomText.h"

#include <gtest/gtest.h>

namespace penmark {
namespace {

// Pieces of a tree end where characters end; parts of a source end anywhere.
TEST(SnapshotSourceTest, GivesAnyPartAlsoFromInsideOfACharacter)
{
    Random random(5);
    std::string text;
    TextBuilder builder;
    for (int i = 0; i < 40; ++i) {
        const std::string piece = random.text(1500);
        text += piece;
        builder.append(TextSnapshot(std::string(piece)), {Utf8Offset(0), Utf8Offset(piece.size())});
    }
    const SnapshotSource source(std::move(builder).build());
    ASSERT_EQ(source.size(), text.size());

    std::size_t cuts = 0;
    for (int i = 0; i < 3000; ++i) {
        const std::size_t offset = random.below(text.size() + 1);
        const std::size_t length = random.below(i % 2 == 0 ? 20 : text.size());
        cuts += offset < text.size() && (static_cast<unsigned char>(text[offset]) & 0xC0) == 0x80;
        std::string room;
        ASSERT_EQ(source.part(offset, length, room), text.substr(offset, length)) << offset << " " << length;
        std::string joined;
        source.forEachPiece(offset, length, [&](std::string_view piece) { joined += piece; });
        ASSERT_EQ(joined, text.substr(offset, length)) << offset << " " << length;
    }
    EXPECT_GT(cuts, 100U) << "the texts have too few long characters to prove anything";
}

TEST(SnapshotSourceTest, CopiesNothingThatStandsInOnePlace)
{
    const auto file = std::make_shared<const std::string>(300'000, 'x');
    const SnapshotSource source(TextSnapshot(file, *file));
    std::string room;
    EXPECT_EQ(source.part(65'536, 65'536, room).data(), file->data() + 65'536);
    EXPECT_EQ(source.part(300'000, 1, room), "");
    EXPECT_EQ(SnapshotSource(TextSnapshot()).part(0, std::string::npos, room), "");
}

}  // namespace
}  // namespace penmark
