// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/TextPosition.h"
#include "text/Caret.h"
#include "text/highlight/Token.h"

#include <QFont>
#include <QList>
#include <QRectF>
#include <QString>
#include <QTextLayout>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

class QPainter;

namespace penmark {

struct ColorScheme;

/// What all lines of a view have in common. Lengths are in device independent pixels.
struct BlockStyle {
    QFont font;
    double rowHeight = 0;
    double baseline = 0;   ///< of a row, from its top
    double wrapWidth = 0;  ///< 0: a line is one row
    double viewWidth = 0;  ///< where lines written from right to left begin if nothing wraps
    double tabWidth = 0;
    const ColorScheme* colors = nullptr;
};

/// What an input method has composed and not committed; drawn in its place, never part of the text.
struct Preedit {
    QString text;
    int cursor = -1;  ///< UTF-16 units from its start, or -1 if it shall not be shown
    QList<QTextLayout::FormatRange> formats;

    friend bool operator==(const Preedit& left, const Preedit& right)
    {
        return left.text == right.text && left.cursor == right.cursor;
    }
};

/// One line, or one piece of a very long line, laid out by the toolkit's own engine: it knows the scripts, their order
/// and their shapes. Offsets are bytes from the block's start; places in pixels from its upper left corner.
class LineBlock {
public:
    enum class Direction { byContent, leftToRight, rightToLeft };

    LineBlock(std::string utf8, Direction direction);

    const std::string& text() const { return utf8_; }
    bool isRightToLeft() const { return rightToLeft_; }
    bool hasRightToLeft() const { return rightToLeft_ || mixed_; }

    /// Lays out unless that is done already for this style, these tokens and this preedit.
    void layOut(const BlockStyle& style, std::uint64_t styleVersion);
    /// Returns whether they differ from those before.
    bool setTokens(std::vector<Token> tokens);
    bool setPreedit(std::size_t offset, const Preedit& preedit);
    bool clearPreedit();

    /// Of the last layout; no two layouts of any blocks have the same.
    std::uint64_t serial() const { return serial_; }
    /// Equal for rows that look the same, in this layout or another, of this block or another.
    std::uint64_t rowHash(int row) const;
    int rows() const { return layout_.lineCount(); }
    double height() const { return rows() * rowHeight_; }
    double width() const { return width_; }  ///< of the widest row

    int rowOf(std::size_t offset, CaretAffinity affinity) const;
    std::size_t rowStart(int row) const;
    std::size_t rowEnd(int row) const;  ///< behind its last character

    /// Where a caret stands, from the left, on the row it belongs to.
    double caretX(std::size_t offset, CaretAffinity affinity = CaretAffinity::downstream) const;
    /// Where the input method's cursor stands.
    QRectF preeditCaret() const;
    /// The place nearest to x on the row, and the affinity that keeps a caret there.
    struct Hit {
        std::size_t offset;
        CaretAffinity affinity;
    };
    Hit hit(int row, double x) const;
    /// The character that covers x, not the nearest border; for clicks on words.
    Hit characterHit(int row, double x) const;

    /// What a range of text covers, row by row; several rectangles on a row where directions mix. With `toEdge` a range
    /// that ends a row reaches on a little, as a selected line end.
    void appendRects(std::vector<QRectF>& to, std::size_t from, std::size_t end, bool withLineEnd) const;

    /// What a range on one row covers as it is drawn; empty if nothing is drawn, as for a tab.
    QRectF drawnRect(std::size_t from, std::size_t end) const;

    /// The caret one step to the left or right as it is seen; the same offset at the edge.
    std::size_t visualLeft(std::size_t offset) const;
    std::size_t visualRight(std::size_t offset) const;

    void draw(QPainter& painter, QPointF at, const QRectF& clip) const;
    /// The rows from `first` up to `end` alone, the first of them at the place.
    void drawRows(QPainter& painter, QPointF at, int first, int end) const;

    std::size_t utf16At(std::size_t offset) const;  ///< UTF-16 units before the byte
    std::size_t offsetAt(std::size_t utf16) const;  ///< and back

private:
    std::size_t visualStep(std::size_t offset, bool toRight) const;
    int toLayout(std::size_t offset) const;
    std::size_t fromLayout(int position) const;
    void applyFormats(const ColorScheme& colors);

    std::string utf8_;
    bool ascii_;
    bool mixed_;
    bool rightToLeft_ = false;
    Direction direction_;
    std::vector<Token> tokens_;
    Preedit preedit_;
    std::size_t preeditAt_ = 0;
    QTextLayout layout_;
    std::uint64_t laidOutFor_ = 0;  // version of the style; 0 is none
    std::uint64_t serial_ = 0;
    mutable std::vector<std::uint64_t> rowHashes_;  // 0: not known yet
    double rowHeight_ = 0;
    double width_ = 0;
};

}  // namespace penmark
