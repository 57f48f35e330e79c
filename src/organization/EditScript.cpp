// SPDX-License-Identifier: GPL-3.0-or-later
#include "organization/EditScript.h"

#include "base/SystemError.h"

#include <algorithm>

namespace penmark {

namespace {

using Elements = std::span<const std::uint32_t>;
using Flags = std::vector<char>;  // one for each element
using Index = std::ptrdiff_t;

const std::uint32_t& at(Elements elements, Index index)
{
    return elements[static_cast<std::size_t>(index)];
}

// Finds a longest common subsequence by cutting the problem in two where paths from both corners meet that have the
// same number of edits. A path is on the diagonal k when it has removed k elements more than it has added; how far it
// is on its diagonal is the number of elements of the first sequence that it has passed.
class ShortestPath {
public:
    ShortestPath(Elements a, Elements b, std::size_t mostEdits, const std::stop_token& stop)
        : keptA(a.size(), 0), keptB(b.size(), 0), a_(a), b_(b), mostEdits_(mostEdits), stop_(stop),
          fromStart_(a.size() + b.size() + 3), fromEnd_(a.size() + b.size() + 3)
    {}

    // Whether there is one within the limit. The elements kept on both sides belong together in order.
    bool find() { return divide({0, std::ssize(a_), 0, std::ssize(b_)}); }

    Flags keptA;
    Flags keptB;

private:
    // A part of both sequences.
    struct Box {
        Index aStart, aEnd, bStart, bEnd;

        Index width() const { return aEnd - aStart; }
        Index height() const { return bEnd - bStart; }
    };
    struct Place {
        Index a, b;
    };

    static constexpr Index unreached = -1;

    bool divide(Box box);
    void keep(Index a, Index b);
    std::optional<Place> meetingPlace(const Box& box);
    template <bool isFromStart>
    std::optional<Place> step(const Box& box, Index edits);

    // Where the paths' farthest places on the diagonals of a box are noted, counted from the corner they come from.
    static Index* front(std::vector<Index>& places, const Box& box) { return places.data() + box.height() + 1; }

    Elements a_;
    Elements b_;
    std::size_t mostEdits_;
    const std::stop_token& stop_;
    std::vector<Index> fromStart_;
    std::vector<Index> fromEnd_;
};

void ShortestPath::keep(Index a, Index b)
{
    keptA[static_cast<std::size_t>(a)] = 1;
    keptB[static_cast<std::size_t>(b)] = 1;
}

// Each half needs half the edits, so this goes no deeper than the logarithm of their number.
bool ShortestPath::divide(Box box)
{
    for (; box.width() > 0 && box.height() > 0 && at(a_, box.aStart) == at(b_, box.bStart); ++box.aStart, ++box.bStart)
        keep(box.aStart, box.bStart);
    for (; box.width() > 0 && box.height() > 0 && at(a_, box.aEnd - 1) == at(b_, box.bEnd - 1); --box.aEnd, --box.bEnd)
        keep(box.aEnd - 1, box.bEnd - 1);
    if (box.width() == 0 || box.height() == 0)
        return static_cast<std::size_t>(box.width() + box.height()) <= mostEdits_;
    const std::optional<Place> met = meetingPlace(box);
    return met && divide({box.aStart, met->a, box.bStart, met->b}) && divide({met->a, box.aEnd, met->b, box.bEnd});
}

// Nothing stands alike at either end of the box, so at least two edits are needed and both halves are smaller.
std::optional<ShortestPath::Place> ShortestPath::meetingPlace(const Box& box)
{
    const Index diagonals = box.width() + box.height() + 3;
    std::fill_n(fromStart_.begin(), diagonals, unreached);
    std::fill_n(fromEnd_.begin(), diagonals, unreached);
    front(fromStart_, box)[0] = 0;
    front(fromEnd_, box)[0] = 0;
    const bool isOdd = (box.width() + box.height()) % 2 != 0;  // so is then the number of edits
    for (Index edits = 1; static_cast<std::size_t>(2 * edits - (isOdd ? 1 : 0)) <= mostEdits_; ++edits) {
        if (stop_.stop_requested())
            throw Cancelled();
        const std::optional<Place> fromStart = step<true>(box, edits);
        if (isOdd && fromStart)
            return fromStart;
        const std::optional<Place> fromEnd = step<false>(box, edits);
        if (!isOdd && fromEnd)
            return fromEnd;
    }
    return std::nullopt;
}

// Goes one edit, and all equal elements behind it, farther on each diagonal. Returns where a path meets one from the
// other corner, if this is the side whose turn it is by the number of edits. A path never leaves the box: what goes on
// along its edge needs no more edits than what would go round.
template <bool isFromStart>
std::optional<ShortestPath::Place> ShortestPath::step(const Box& box, Index edits)
{
    const Index width = box.width();
    const Index height = box.height();
    const bool canMeet = ((width + height) % 2 != 0) == isFromStart;
    const auto isSame = [&, a = a_.data() + (isFromStart ? box.aStart : box.aEnd - 1),
                         b = b_.data() + (isFromStart ? box.bStart : box.bEnd - 1)](Index x, Index y) {
        return isFromStart ? a[x] == b[y] : a[-x] == b[-y];
    };
    Index* const own = front(isFromStart ? fromStart_ : fromEnd_, box);
    const Index* const opposite = front(isFromStart ? fromEnd_ : fromStart_, box);
    const Index lowest = edits <= height ? -edits : -height + (edits - height) % 2;
    const Index highest = edits <= width ? edits : width - (edits - width) % 2;
    for (Index k = lowest; k <= highest; k += 2) {
        Index x = unreached;
        if (const Index removing = own[k - 1]; removing != unreached && removing < width)
            x = removing + 1;
        if (const Index adding = own[k + 1]; adding > x && adding - k <= height)
            x = adding;
        own[k] = x;
        if (x == unreached)
            continue;
        while (x < width && x - k < height && isSame(x, x - k))
            ++x;
        own[k] = x;
        if (const Index other = opposite[width - height - k]; canMeet && other != unreached && x + other >= width)
            return isFromStart ? Place{box.aStart + x, box.bStart + x - k} : Place{box.aEnd - x, box.bEnd - x + k};
    }
    return std::nullopt;
}

// The elements that occur on the other side too. The rest is in no common subsequence, so a shortest script for the
// shared elements is one for all.
struct SharedElements {
    SharedElements(Elements all, const Flags& isOther)
    {
        for (std::size_t i = 0; i < all.size(); ++i)
            if (all[i] < isOther.size() && isOther[all[i]] != 0) {
                elements.push_back(all[i]);
                places.push_back(i);
            }
    }

    // What is known of the shared elements, for all.
    Flags spread(const Flags& flags, std::size_t count) const
    {
        Flags all(count, 0);
        for (std::size_t i = 0; i < flags.size(); ++i)
            all[places[i]] = flags[i];
        return all;
    }

    std::vector<std::uint32_t> elements;
    std::vector<std::size_t> places;
};

Flags occurring(Elements elements)
{
    if (elements.empty())
        return {};
    Flags found(std::size_t{*std::max_element(elements.begin(), elements.end())} + 1, 0);
    for (const std::uint32_t element : elements)
        found[element] = 1;
    return found;
}

std::size_t endOfChange(const Flags& kept, std::size_t from)
{
    while (from < kept.size() && kept[from] == 0)
        ++from;
    return from;
}

// Moves a lone change, from `start` to before `end`, towards the end while what it passes equals what it leaves
// behind. Stops where the other side has a change, at `other`. Returns the new end.
std::size_t moveToEnd(Elements elements, Flags& kept, std::size_t start, std::size_t end, const Flags& otherKept,
                      std::size_t& other)
{
    while (end < elements.size() && otherKept[other] != 0 && elements[start] == elements[end]) {
        kept[start++] = 1;
        kept[end++] = 0;
        ++other;
        end = endOfChange(kept, end);
    }
    other = endOfChange(otherKept, other);  // both together are one change now
    return end;
}

void moveLoneChanges(Elements a, Elements b, Flags& keptA, Flags& keptB)
{
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < a.size() && j < b.size()) {
        if (keptA[i] != 0 && keptB[j] != 0) {
            ++i;
            ++j;
            continue;
        }
        const std::size_t aEnd = endOfChange(keptA, i);
        const std::size_t bEnd = endOfChange(keptB, j);
        const bool isRemoval = j == bEnd;
        const bool isAddition = i == aEnd;
        std::size_t aNext = aEnd;
        std::size_t bNext = bEnd;
        if (isRemoval)
            aNext = moveToEnd(a, keptA, i, aEnd, keptB, bNext);
        else if (isAddition)
            bNext = moveToEnd(b, keptB, j, bEnd, keptA, aNext);
        i = aNext;
        j = bNext;
    }
}

void append(EditScript& script, Edit::Kind kind, std::size_t count)
{
    if (count > 0)
        script.push_back({kind, count});
}

EditScript scriptOf(const Flags& keptA, const Flags& keptB)
{
    EditScript script;
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < keptA.size() || j < keptB.size()) {
        const std::size_t start = i;
        for (; i < keptA.size() && j < keptB.size() && keptA[i] != 0 && keptB[j] != 0; ++i)
            ++j;
        append(script, Edit::Kind::keep, i - start);
        const std::size_t aEnd = endOfChange(keptA, i);
        const std::size_t bEnd = endOfChange(keptB, j);
        append(script, Edit::Kind::remove, aEnd - i);
        append(script, Edit::Kind::add, bEnd - j);
        i = aEnd;
        j = bEnd;
    }
    return script;
}

}  // namespace

std::optional<EditScript> shortestEditScript(std::span<const std::uint32_t> earlier,
                                             std::span<const std::uint32_t> current, std::size_t mostEdits,
                                             const std::stop_token& stop)
{
    const SharedElements a(earlier, occurring(current));
    const SharedElements b(current, occurring(earlier));
    ShortestPath path(a.elements, b.elements, mostEdits, stop);
    if (!path.find())
        return std::nullopt;
    Flags keptA = a.spread(path.keptA, earlier.size());
    Flags keptB = b.spread(path.keptB, current.size());
    moveLoneChanges(earlier, current, keptA, keptB);
    return scriptOf(keptA, keptB);
}

EditScript shortestEditScript(std::span<const std::uint32_t> earlier, std::span<const std::uint32_t> current,
                              const std::stop_token& stop)
{
    return *shortestEditScript(earlier, current, unlimitedEdits, stop);
}

EditScript blockEditScript(std::size_t earlierCount, std::size_t currentCount)
{
    EditScript script;
    append(script, Edit::Kind::remove, earlierCount);
    append(script, Edit::Kind::add, currentCount);
    return script;
}

}  // namespace penmark
