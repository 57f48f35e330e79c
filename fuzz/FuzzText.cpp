// SPDX-License-Identifier: GPL-3.0-or-later
// Takes any bytes for what a user does in a text with two editors on it: typing, commands, moves, folds, undo. After
// each step the text must be that of a plain string that only hears of the edits; in the end undoing all leads back.
#include "text/editor/EditorActions.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>

namespace {

using namespace penmark;

class ByteChoices final : public test::Choices {
public:
    ByteChoices(const std::uint8_t* data, std::size_t size) : at_(data), end_(data + size) {}

    bool isDone() const { return at_ == end_; }
    std::size_t below(std::size_t count) override
    {
        if (isDone())
            return 0;
        std::size_t value = *at_++;
        if (count > 256 && !isDone())
            value = value << 8 | *at_++;
        return value % count;
    }

private:
    const std::uint8_t* at_;
    const std::uint8_t* end_;
};

constexpr std::size_t largest = 8000;  // bytes
constexpr int mostSteps = 100;         // many short runs find more than few long ones

void run(ByteChoices& choices)
{
    const std::string first = test::someText(choices, choices.below(64));
    EditorDocument document(TextSnapshot(std::string_view(first)),
                            editorLanguages()[choices.below(editorLanguageCount)]);
    TextEditor one(document);
    TextEditor other(document);
    const test::StringModel model(document.buffer());
    for (int step = 0; step < mostSteps && !choices.isDone() && document.text().end().value < largest; ++step) {
        test::act(choices.one(4) ? other : one, choices);
        model.check();
        test::checkEditor(one);
        test::checkEditor(other);
    }
    test::checkDocument(document);
    const std::string last = model.text();
    std::size_t steps = 0;
    for (; document.buffer().canUndo(); ++steps)
        one.undo();
    if (model.text() != first)
        throw std::logic_error("undoing everything leads to another text");
    for (; steps > 0; --steps)
        one.redo();
    if (model.text() != last)
        throw std::logic_error("doing all again leads to another text");
    test::checkEditor(one);
    test::checkEditor(other);
    test::checkDocument(document);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    try {
        ByteChoices choices(data, size);
        run(choices);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        std::abort();
    }
    return 0;
}
