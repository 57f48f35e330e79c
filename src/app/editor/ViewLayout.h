// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/editor/LineBlock.h"
#include "app/editor/LineCuts.h"
#include "text/Caret.h"
#include "text/CaretMotion.h"
#include "text/TextBuffer.h"

#include <QFont>
#include <QPointF>
#include <QRectF>
#include <QSizeF>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

namespace penmark {

class FoldSet;
struct ColorScheme;

/// Where the lines of a text stand in a view: lays out what is seen, keeps it while it stays the same, and estimates
/// the rest. No pass over the text is ever made: everything is found from the place that is seen, and a line of more
/// than `longLine` bytes is laid out in pieces, each of which starts a row.
///
/// The view is anchored to the text: to the first row that is seen and how far it is scrolled out. Edits, folds, a new
/// width or better estimates move the scroll bar, never the text. All rows have the same height. Coordinates are device
/// independent pixels from the upper left corner of the text area.
///
/// Threads: the main thread. Needs no widget, only fonts. Laying out is not seen from outside, so asking is const.
class ViewLayout final : public VisualRows {
public:
    static constexpr std::size_t longLine = 20'000;  ///< bytes; about as many characters, or half as many
    static constexpr std::size_t pieceBytes = LineCuts::pieceBytes;

    explicit ViewLayout(const TextBuffer& buffer);
    ~ViewLayout() override;

    void setFolds(const FoldSet* folds) { folds_ = folds; }  ///< outlives this
    /// Who knows the tokens of a line; asked for what is seen only.
    using TokenSource = std::function<void(LineNumber line, std::vector<Token>& tokens)>;
    void setTokenSource(TokenSource source) { tokens_ = std::move(source); }

    void setFont(const QFont& font);
    void setColors(const ColorScheme& colors);
    void setSize(QSizeF size);
    void setWrap(bool wrap);
    void setTabColumns(std::size_t columns);
    const QFont& font() const { return style_.font; }
    bool wraps() const { return wrap_; }
    double rowHeight() const { return style_.rowHeight; }
    double baseline() const { return style_.baseline; }
    double columnWidth() const { return columnWidth_; }
    double tabWidth() const { return style_.tabWidth; }
    std::size_t tabColumns() const { return tabColumns_; }
    QSizeF size() const { return size_; }
    /// Rows that fit, at least 1.
    int rowsInView() const;

    void textChanged(const TextChange& change);
    void foldsChanged();

    /// A block that is laid out and where it stands.
    struct Placed {
        const LineBlock* block = nullptr;
        Utf8Range range;
        LineNumber line;
        bool startsLine = true;
        bool endsLine = true;
        double top = 0;
    };
    /// What can be seen now, from top to bottom. Valid until anything changes. Brings tokens up to date.
    const std::vector<Placed>& visible();
    /// Brings the tokens of what is seen up to date and adds the areas whose colours changed.
    void refreshTokens(std::vector<QRectF>& changed);
    /// The block that contains the place, laid out; its top is only meaningful if it is seen.
    Placed blockAt(Utf8Offset offset);

    double horizontalOffset() const { return left_; }
    void setHorizontalOffset(double pixels) { left_ = pixels; }
    /// Of the widest row seen so far.
    double contentWidth() const { return contentWidth_; }

    /// Where the caret is drawn, in view coordinates; absent if its row is not seen.
    std::optional<QRectF> caretRect(const Caret& caret);
    struct Hit {
        Utf8Offset offset;
        CaretAffinity affinity = CaretAffinity::downstream;
    };
    Hit hit(QPointF point);
    Hit characterHit(QPointF point);

    /// Moves the text by so many pixels, down if positive, and stops at the ends. Returns whether anything moved.
    bool scrollBy(double pixels);
    void scrollToStart();
    void scrollToEnd();
    /// The least scrolling that shows the caret, with a margin of rows if there is room; far away it comes to the
    /// middle. Returns whether anything moved.
    bool show(const Caret& caret, int marginRows = 1);
    void center(Utf8Offset offset);

    /// Scrolls back where the text has become so short, or the view so high, that its end left the lower edge.
    void keepFilled() { clampToEnd(); }

    struct Anchor {
        Utf8Offset offset;    ///< start of the first row seen
        double scrolled = 0;  ///< pixels of it that are scrolled out
    };
    Anchor anchor() const { return anchor_; }
    void setAnchor(Anchor anchor);

    /// For the scroll bar, in pixels and as well as it is known.
    double estimatedHeight() const;
    double estimatedTop() const;
    void scrollToEstimated(double top);
    /// How far a place of the text is from the text's top.
    double estimatedTop(Utf8Offset offset) const;

    // The rows as they are seen, for moves of carets.
    double x(Place place) const override;
    Step rowsBelow(Place from, std::ptrdiff_t rows, double x) const override;
    Place rowStart(Place place) const override;
    Place rowEnd(Place place) const override;
    std::size_t pageRows() const override;

    /// An arrow key in a line with text from right to left: one step as it is seen. Absent in other lines.
    std::optional<Utf8Offset> visualStep(Utf8Offset from, bool toRight);

    void setPreedit(Utf8Offset at, const Preedit& preedit);
    void clearPreedit();
    const Preedit& preedit() const { return preedit_; }
    std::optional<QRectF> preeditCaret();

    /// Layouts made since the start, for tests that count work.
    std::size_t layoutsMade() const { return layoutsMade_; }

private:
    struct Spot {  // of a block in the text
        TextLine line;
        Utf8Range range;
        bool isPiece() const { return range != line.content(); }
        bool startsLine() const { return range.start == line.start; }
        bool endsLine() const { return range.end == line.end; }
    };
    struct Entry {
        std::unique_ptr<LineBlock> block;
        std::size_t bytes = 0;
        std::uint64_t used = 0;
    };

    const TextSnapshot& text() const { return buffer_.text(); }
    Spot spotIn(const TextLine& line, Utf8Offset offset) const;
    Spot spotOf(Utf8Offset offset, CaretAffinity affinity = CaretAffinity::downstream) const;
    std::optional<Spot> spotAfter(const Spot& spot) const;
    std::optional<Spot> spotBefore(const Spot& spot) const;
    LineBlock& laidOut(const Spot& spot) const;
    void updateTokens(const Spot& spot, LineBlock& block) const;
    bool holdsPreedit(Utf8Range block, bool endsLine) const;
    const Placed& placedAt(double y);
    Utf8Offset caretPlace(Utf8Offset offset) const;
    void anchorTo(Spot spot, double top);
    void settle(const Spot& spot, double top);
    void clampToEnd();
    void stale();
    void restyle();
    void evict() const;
    double rowsBefore(Utf8Offset offset) const;
    std::size_t visibleLineIndex(LineNumber line) const;

    const TextBuffer& buffer_;
    const FoldSet* folds_ = nullptr;
    TokenSource tokens_;
    BlockStyle style_;
    std::uint64_t styleVersion_ = 1;
    bool wrap_ = true;
    std::size_t tabColumns_ = 4;
    double columnWidth_ = 8;
    QSizeF size_{640, 480};
    Anchor anchor_;
    double left_ = 0;
    mutable double contentWidth_ = 0;
    mutable std::unordered_map<std::size_t, Entry> cache_;      // by the first byte
    mutable std::vector<std::unique_ptr<LineBlock>> replaced_;  // may be among what is seen until that is found anew
    mutable std::uint64_t clock_ = 0;
    mutable LineCuts cuts_;
    std::vector<Placed> visible_;
    bool visibleValid_ = false;
    std::optional<Utf8Offset> preeditAt_;
    Preedit preedit_;
    mutable std::size_t layoutsMade_ = 0;
    double extraRowsPerByte_ = 0;  // rows beyond the first of a line, by what was laid out lately
};

}  // namespace penmark
