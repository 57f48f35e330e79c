// SPDX-License-Identifier: GPL-3.0-or-later
#include "MarkedText.h"

#include "base/Utf8.h"
#include "text/Characters.h"

#include <map>
#include <optional>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace penmark::test {

MarkedText readMarks(std::string_view marked)
{
    std::string text;
    std::vector<Caret> carets;
    std::optional<Utf8Offset> anchor;
    while (!marked.empty()) {
        const Utf8Offset here(text.size());
        if (marked.starts_with("«")) {
            anchor = here;
            marked.remove_prefix(2);
        } else if (marked.starts_with("»")) {
            carets.back().anchor = here;
            marked.remove_prefix(2);
        } else if (marked.front() == '|') {
            carets.emplace_back(anchor.value_or(here), here);
            anchor.reset();
            marked.remove_prefix(1);
        } else {
            text += marked.front();
            marked.remove_prefix(1);
        }
    }
    if (carets.empty())
        carets.emplace_back();
    const std::size_t main = carets.size() - 1;
    return {TextSnapshot(text), CaretSet(std::move(carets), main)};
}

std::string writeMarks(const TextSnapshot& text, const CaretSet& carets)
{
    std::multimap<std::size_t, std::string_view> marks;
    for (const Caret& caret : carets) {
        if (caret.hasSelection() && caret.isForward())
            marks.emplace(caret.anchor.value, "«");
        marks.emplace(caret.head.value, "|");
        if (caret.hasSelection() && !caret.isForward())
            marks.emplace(caret.anchor.value, "»");
    }
    std::string marked = text.text();
    for (auto mark = marks.rbegin(); mark != marks.rend(); ++mark)
        marked.insert(mark->first, mark->second);
    return marked;
}

void checkResult(const TextSnapshot& text, const EditResult& result)
{
    Utf8Offset end;
    for (const Replacement& replacement : result.edit.replacements()) {
        ASSERT_LE(end, replacement.start);
        end = replacement.end();
        ASSERT_LE(end, text.end());
        ASSERT_EQ(text.characterStart(replacement.start), replacement.start);
        ASSERT_EQ(text.characterStart(end), end);
    }
    const TextSnapshot after = text.apply(result.edit);
    ASSERT_TRUE(isValidUtf8(after.text()));
    ASSERT_TRUE(after.apply(result.edit.inverse(text)) == text);
    for (const Caret& caret : result.carets) {
        for (const Utf8Offset offset : {caret.anchor, caret.head}) {
            ASSERT_LE(offset, after.end());
            ASSERT_EQ(graphemeStart(after, offset), offset) << writeMarks(after, result.carets);
        }
    }
}

std::string run(const Command& command, std::string_view marked)
{
    const MarkedText before = readMarks(marked);
    const EditResult result = command(before.text, before.carets);
    checkResult(before.text, result);
    return writeMarks(before.text.apply(result.edit), result.carets);
}

}  // namespace penmark::test
