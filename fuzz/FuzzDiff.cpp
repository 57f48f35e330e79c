// SPDX-License-Identifier: GPL-3.0-or-later
// Takes any bytes for two texts, the second behind a byte 0xff. The edit script must lead from one to the other, and a
// comparison must show each line of both once, with marks that lie in it.
#include "base/Utf8.h"
#include "organization/DocumentDiff.h"
#include "organization/LineDiff.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace penmark;

void require(bool holds)
{
    if (!holds)
        std::abort();
}

std::vector<std::string_view> linesOf(std::string_view text)
{
    std::vector<std::string_view> lines;
    for (std::size_t start = 0; start <= text.size(); start += lines.back().size() + 1)
        lines.push_back(text.substr(start, text.find('\n', start) - start));
    return lines;
}

void checkScript(const std::vector<std::string_view>& a, const std::vector<std::string_view>& b)
{
    std::size_t i = 0;
    std::size_t j = 0;
    for (const Edit& edit : lineDiff(a, b)) {
        for (std::size_t k = 0; k < edit.count; ++k) {
            require(edit.kind != Edit::Kind::keep || a.at(i) == b.at(j));
            i += edit.kind == Edit::Kind::add ? 0 : 1;
            j += edit.kind == Edit::Kind::remove ? 0 : 1;
        }
    }
    require(i == a.size() && j == b.size());
}

std::size_t unitsOf(std::string_view text)
{
    std::size_t units = 0;
    for (const char byte : text) {
        const auto value = static_cast<unsigned char>(byte);
        units += (value & 0xc0) == 0x80 ? 0 : value < 0xf0 ? 1 : 2;
    }
    return units;
}

void checkComparison(const std::string& earlier, const std::string& current)
{
    using Kind = DocumentDiffLine::Kind;
    const DocumentDiff diff = compareTexts(earlier, current);
    std::size_t earlierLine = 1;
    std::size_t currentLine = 1;
    for (std::size_t index = 0; index < diff.lines.size(); ++index) {
        const DocumentDiffLine& line = diff.lines[index];
        require(isValidUtf8(line.text) && diff.unfolded(index).size() == line.hiddenLines);
        require(line.earlierLine == (line.kind == Kind::added ? 0 : earlierLine));
        require(line.currentLine == (line.kind == Kind::removed ? 0 : currentLine));
        const std::size_t count = std::max(line.hiddenLines, std::size_t{1});
        earlierLine += line.kind == Kind::added ? 0 : count;
        currentLine += line.kind == Kind::removed ? 0 : count;
        Utf16Offset end;
        for (const Utf16Range& mark : line.marks) {
            require(mark.start >= end && mark.end > mark.start);
            end = mark.end;
        }
        require(end.value <= unitsOf(line.text));
    }
    if (!diff.isIncomplete)
        require(earlierLine == linesOf(earlier).size() + 1 && currentLine == linesOf(current).size() + 1);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const std::size_t cut = std::min(bytes.find('\xff'), size);
    const std::string earlier = repairUtf8(bytes.substr(0, cut));
    const std::string current = repairUtf8(bytes.substr(std::min(cut + 1, size)));
    checkScript(linesOf(earlier), linesOf(current));
    checkComparison(earlier, current);
    return 0;
}
