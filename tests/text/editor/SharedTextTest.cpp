// SPDX-License-Identifier: GPL-3.0-or-later
#include "text/TextBuffer.h"
#include "text/TextStatistics.h"
#include "text/commands/Occurrences.h"
#include "text/editor/EditorActions.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace penmark::test {

namespace {

struct Published {
    TextSnapshot text;
    std::string plain;
};

/// Where the writer leaves its newest text, and readers find it.
class Desk {
public:
    void put(Published published)
    {
        const std::lock_guard lock(mutex_);
        published_ = std::move(published);
    }
    Published take() const
    {
        const std::lock_guard lock(mutex_);
        return published_;
    }

private:
    mutable std::mutex mutex_;
    Published published_;
};

/// What each way of reading finds, compared with the plain string. Returns what is wrong, or nothing.
const char* wrongIn(const Published& published, std::size_t way)
{
    const auto& [text, plain] = published;
    switch (way % 5) {
    case 0:
        return text.text() == plain ? nullptr : "text()";
    case 1: {
        std::string joined;
        for (LineNumber line; line.value < text.lineCount(); ++line) {
            const TextLine found = text.line(line);
            if (text.lineAt(found.start) != line)
                return "lineAt()";
            text.append(joined, found.whole());
        }
        return joined == plain ? nullptr : "line()";
    }
    case 2: {
        TextReader reader(text);
        std::size_t units = 0;
        std::size_t characters = 0;
        for (; reader.position() < text.end(); ++characters) {
            if (characters % 64 == 0 && (text.toUtf16(reader.position()).value != units ||
                                         text.toUtf8(Utf16Offset(units)) != reader.position()))
                return "UTF-16";
            units += reader.next() >= 0x10000 ? 2 : 1;
        }
        const auto starts = std::count_if(plain.begin(), plain.end(),
                                          [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; });
        return characters == static_cast<std::size_t>(starts) ? nullptr : "TextReader";
    }
    case 3: {
        const TextSnapshot fresh{std::string_view(plain)};
        const Utf8Range whole{Utf8Offset(0), text.end()};
        return commands::findAll(text, "needle", whole) == commands::findAll(fresh, "needle", whole) ? nullptr
                                                                                                     : "findAll()";
    }
    default:
        return TextStatistics(text).counts() == TextStatistics(TextSnapshot(std::string_view(plain))).counts()
                   ? nullptr
                   : "counts";
    }
}

}  // namespace

// One thread edits, undoes and goes on while others read what it published and drop it last.
TEST(SharedTextTest, IsReadByOthersWhileItIsEdited)
{
    RandomChoices choices(7);
    std::string first;
    while (first.size() < 40'000)
        first += someText(choices, 20) + " needle \n";
    TextBuffer buffer{TextSnapshot(std::string(first))};
    const StringModel model(buffer);
    Desk desk;
    desk.put({buffer.text(), model.text()});
    std::atomic<bool> done = false;
    std::array<std::atomic<std::size_t>, 3> reads{};
    std::array<const char*, 3> wrong{};
    std::vector<std::thread> readers;
    for (std::size_t index = 0; index < reads.size(); ++index) {
        readers.emplace_back([&, index] {
            std::vector<Published> kept;  // outlive the writer's own
            for (std::size_t way = index; !done || reads[index] < 5; ++way) {
                kept.push_back(desk.take());
                if (kept.size() > 8)
                    kept.erase(kept.begin());
                if (const char* found = wrongIn(kept[way % kept.size()], way))
                    wrong[index] = found;
                ++reads[index];
            }
        });
    }
    const auto readEnough = [&] {
        return std::all_of(reads.begin(), reads.end(), [](const auto& count) { return count >= 20; });
    };
    // A reader is slower than the writer, which goes on until all of them have had their turns.
    for (std::size_t edits = 0; edits < 500 || !readEnough(); ++edits) {
        const std::size_t choice = choices.below(10);
        if (choice == 0) {
            buffer.undo();
        } else if (choice == 1) {
            buffer.redo();
        } else {
            const CaretSet carets = someCarets(buffer.text(), choices);
            TextEditBuilder builder;
            for (const Caret& caret : carets) {
                const std::size_t most = std::min<std::size_t>(caret.range().size(), 50);
                const Utf8Offset end = buffer.text().characterStart(caret.start() + most);
                builder.replace({caret.start(), end}, choices.one(3) ? "needle" : someText(choices, choices.below(3)));
            }
            buffer.apply(std::move(builder).build(), carets, CaretSet());
        }
        desk.put({buffer.text(), model.text()});
    }
    done = true;
    for (std::thread& reader : readers)
        reader.join();
    for (const char* found : wrong)
        EXPECT_EQ(found, nullptr) << found;
    EXPECT_NO_THROW(model.check());
}

}  // namespace penmark::test
