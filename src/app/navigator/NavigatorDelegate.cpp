// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/navigator/NavigatorDelegate.h"

#include "app/navigator/ListedDate.h"

#include <QLineEdit>
#include <QLocale>
#include <QPainter>
#include <QPainterPath>
#include <QTextLayout>
#include <algorithm>
#include <utility>

namespace penmark {
namespace {

QColor blend(const QColor& over, const QColor& under, double share)
{
    const auto mix = [share](float one, float other) { return static_cast<float>(one * share + other * (1 - share)); };
    return QColor::fromRgbF(mix(over.redF(), under.redF()), mix(over.greenF(), under.greenF()),
                            mix(over.blueF(), under.blueF()));
}

QFont scaled(QFont font, double factor)
{
    if (font.pointSizeF() > 0)
        font.setPointSizeF(font.pointSizeF() * factor);
    else
        font.setPixelSize(std::max(1, static_cast<int>(font.pixelSize() * factor)));
    return font;
}

/// Takes a square from the far end of a line.
QRect takeSquare(QRect& line, const QStyleOptionViewItem& option, int side)
{
    const QRect square(option.direction == Qt::RightToLeft ? line.left() : line.right() - side + 1,
                       line.center().y() - side / 2, side, side);
    if (option.direction == Qt::RightToLeft)
        line.setLeft(square.right() + side / 2);
    else
        line.setRight(square.left() - side / 2);
    return square;
}

/// An unequal sign.
void paintDiffers(QPainter& painter, QRectF box)
{
    const double third = box.height() / 3;
    painter.drawLine(QPointF(box.left(), box.top() + third), QPointF(box.right(), box.top() + third));
    painter.drawLine(QPointF(box.left(), box.top() + 2 * third), QPointF(box.right(), box.top() + 2 * third));
    painter.drawLine(QPointF(box.left() + third * 0.8, box.bottom()), QPointF(box.right() - third * 0.8, box.top()));
}

/// A sheet that is crossed out.
void paintMissing(QPainter& painter, QRectF box)
{
    const QRectF sheet = box.adjusted(box.width() * 0.15, 0, -box.width() * 0.15, 0);
    painter.drawRect(sheet);
    painter.drawLine(box.bottomLeft(), box.topRight());
}

}  // namespace

NavigatorDelegate::Type::Type(const QFont& base)
    : title(base), front(base), small(scaled(base, 0.88)), heading(scaled(base, 0.92)), titleMetrics(base),
      smallMetrics(small)
{
    front.setBold(true);
    heading.setWeight(QFont::DemiBold);
    margin = std::max(3, titleMetrics.height() / 4);
    gutter = titleMetrics.height();
    height = titleMetrics.height() + smallMetrics.height() + 2 * margin;
}

NavigatorDelegate::NavigatorDelegate(const NavigatorModel& model, Clock clock, QObject* parent)
    : QStyledItemDelegate(parent), model_(model), clock_(std::move(clock))
{}

const NavigatorDelegate::Type& NavigatorDelegate::type(const QFont& font) const
{
    if (!type_ || measuredFont_ != font) {
        type_.emplace(font);
        measuredFont_ = font;
    }
    return *type_;
}

NavigatorDelegate::Colors NavigatorDelegate::colors(const QStyleOptionViewItem& option) const
{
    const QColor base = option.palette.color(QPalette::Active, QPalette::Base);
    const QColor highlight = option.palette.color(QPalette::Active, QPalette::Highlight);
    Colors colors;
    colors.background = base;
    colors.text = option.palette.color(QPalette::Active, QPalette::Text);
    if (option.state & QStyle::State_Selected) {
        if (option.state & QStyle::State_Active) {
            colors.background = highlight;
            colors.text = option.palette.color(QPalette::Active, QPalette::HighlightedText);
            colors.mark = blend(colors.text, highlight, 0.3);
        } else {
            colors.background = blend(highlight, base, 0.22);
        }
    } else if (option.state & QStyle::State_MouseOver) {
        colors.background = blend(colors.text, base, 0.06);
    }
    colors.quiet = blend(colors.text, colors.background, 0.66);
    if (!colors.mark.isValid())
        colors.mark = blend(highlight, colors.background, 0.34);
    return colors;
}

QSize NavigatorDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex&) const
{
    return {type(option.font).gutter * 8, type(option.font).height};
}

/// Rows deep inside keep some room for their title.
int NavigatorDelegate::indent(const QStyleOptionViewItem& option, int depth) const
{
    return std::min(depth * type(option.font).gutter * 3 / 4, option.rect.width() / 2);
}

QRect NavigatorDelegate::titleLine(const QStyleOptionViewItem& option, int depth) const
{
    const Type& used = type(option.font);
    const int left = used.gutter + indent(option, depth);
    const QRect line(option.rect.left() + left + used.margin, option.rect.top() + used.margin,
                     option.rect.width() - left - 3 * used.margin, used.titleMetrics.height());
    return QStyle::visualRect(option.direction, option.rect, line);
}

bool NavigatorDelegate::isChevron(const QStyleOptionViewItem& option, const NavigatorRow& row, QPoint position) const
{
    const Type& used = type(option.font);
    const QRect box(option.rect.left() + indent(option, row.depth), option.rect.top(), used.gutter + used.margin,
                    option.rect.height());
    return row.isExpandable && QStyle::visualRect(option.direction, option.rect, box).contains(position);
}

void NavigatorDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    if (const auto row = model_.row(index)) {
        Colors used = colors(option);
        paintBackground(*painter, option, used);
        if (row->kind == NavigatorRow::Kind::message) {
            paintMessage(*painter, option, *row);
        } else {
            if (row->isQuiet)
                used.text = used.quiet;
            QRect line = titleLine(option, row->depth);
            const bool hasSecondLine = !row->place.isEmpty() || row->date;
            if (!hasSecondLine)
                line.moveTop(option.rect.center().y() - line.height() / 2);
            if (row->isExpandable) {
                QStyleOptionViewItem chevron = option;
                chevron.state.setFlag(QStyle::State_Open, row->isExpanded);
                const Type& sizes = type(option.font);
                paintChevron(
                    *painter, chevron,
                    QPointF(option.rect.left() + indent(option, row->depth) + sizes.margin + sizes.gutter * 0.5,
                            line.center().y() + 1),
                    used.quiet);
            }
            paintTitle(*painter, option, line, *row, used);
            line.moveTop(line.bottom() + 1);
            line.setHeight(type(option.font).smallMetrics.height());
            if (hasSecondLine)
                paintSecondLine(*painter, option, line, *row, used);
        }
    } else {
        paintHeading(*painter, option, index);
    }
    painter->restore();
}

void NavigatorDelegate::paintBackground(QPainter& painter, const QStyleOptionViewItem& option,
                                        const Colors& colors) const
{
    const int inset = std::max(2, type(option.font).margin / 2);
    const QRectF box = QRectF(option.rect).adjusted(inset, 0.5, -inset, -0.5);
    const double radius = inset * 1.5;
    painter.setPen(Qt::NoPen);
    if (option.state & (QStyle::State_Selected | QStyle::State_MouseOver)) {
        painter.setBrush(colors.background);
        painter.drawRoundedRect(box, radius, radius);
    }
    if (option.state & QStyle::State_HasFocus) {
        const QColor highlight = option.palette.color(QPalette::Active, QPalette::Highlight);
        painter.setBrush(Qt::NoBrush);
        painter.setPen(
            QPen(option.state & QStyle::State_Selected ? blend(colors.text, highlight, 0.6) : highlight, 1.5));
        painter.drawRoundedRect(box.adjusted(1, 1, -1, -1), radius, radius);
    }
}

void NavigatorDelegate::paintHeading(QPainter& painter, const QStyleOptionViewItem& option,
                                     const QModelIndex& index) const
{
    const Type& used = type(option.font);
    // Stands at the rows below it; what is above keeps sections apart.
    QStyleOptionViewItem lower = option;
    lower.rect.setTop(option.rect.bottom() - used.titleMetrics.height() - used.margin);
    const Colors ink = colors(lower);
    paintBackground(painter, lower, ink);

    paintChevron(
        painter, lower,
        QPointF(lower.rect.left() + used.margin + used.gutter * 0.5, lower.rect.top() + lower.rect.height() / 2.0),
        ink.quiet);

    QRect line = titleLine(lower);
    line.setTop(lower.rect.top());
    line.setHeight(lower.rect.height());
    const NavigatorSection& section = model_.section(index.row());
    painter.setFont(used.heading);
    painter.setPen(ink.quiet);
    const int end = static_cast<int>(option.direction == Qt::RightToLeft ? Qt::AlignLeft : Qt::AlignRight);
    const int start = static_cast<int>(option.direction == Qt::RightToLeft ? Qt::AlignRight : Qt::AlignLeft);
    const int middle = static_cast<int>(Qt::AlignVCenter) | Qt::TextSingleLine;
    painter.drawText(line, start | middle, section.heading());
    painter.setFont(used.small);
    painter.drawText(line, end | middle, QLocale().toString(section.count()));
}

void NavigatorDelegate::paintChevron(QPainter& painter, const QStyleOptionViewItem& option, QPointF center,
                                     const QColor& color) const
{
    const int gutter = type(option.font).gutter;
    const double side = gutter * 0.26;
    QPolygonF chevron;
    if (option.state & QStyle::State_Open)
        chevron << QPointF(-side, -side / 2) << QPointF(0, side / 2) << QPointF(side, -side / 2);
    else
        chevron << QPointF(-side / 2, -side) << QPointF(side / 2, 0) << QPointF(-side / 2, side);
    const bool isMirrored = option.direction == Qt::RightToLeft;
    painter.save();
    painter.translate(isMirrored ? option.rect.left() + option.rect.right() + 1 - center.x() : center.x(), center.y());
    if (isMirrored)
        painter.scale(-1, 1);
    painter.setPen(QPen(color, std::max(1.2, gutter * 0.08), Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.drawPolyline(chevron);
    painter.restore();
}

void NavigatorDelegate::paintMessage(QPainter& painter, const QStyleOptionViewItem& option,
                                     const NavigatorRow& row) const
{
    QRect box = titleLine(option, row.depth);
    box.setBottom(option.rect.bottom());
    painter.setFont(type(option.font).small);
    painter.setPen(colors(option).quiet);
    painter.drawText(box, static_cast<int>(Qt::AlignTop) | Qt::TextWordWrap, row.title);
}

void NavigatorDelegate::paintBadges(QPainter& painter, const QStyleOptionViewItem& option, QRect& line,
                                    const NavigatorRow& row, const Colors& colors) const
{
    const int side = type(option.font).titleMetrics.ascent() * 2 / 3;
    painter.setPen(QPen(colors.quiet, std::max(1.1, side * 0.12), Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.setBrush(Qt::NoBrush);
    if (row.badges & NavigatorRow::missingOriginal)
        paintMissing(painter, takeSquare(line, option, side));
    if (row.badges & NavigatorRow::fileDiffers)
        paintDiffers(painter, takeSquare(line, option, side));
    if (row.badges & NavigatorRow::isOpen) {
        const double inset = side * 0.2;
        painter.setPen(Qt::NoPen);
        painter.setBrush(colors.quiet);
        painter.drawEllipse(QRectF(takeSquare(line, option, side)).adjusted(inset, inset, -inset, -inset));
    }
}

void NavigatorDelegate::paintTitle(QPainter& painter, const QStyleOptionViewItem& option, QRect line,
                                   const NavigatorRow& row, const Colors& colors) const
{
    const Type& used = type(option.font);
    paintBadges(painter, option, line, row, colors);

    const bool isFront = model_.isCurrent(row);
    if (isFront) {
        const QRect bar(option.rect.left() + used.margin + used.gutter / 2 - 2, option.rect.top() + used.margin, 3,
                        option.rect.height() - 2 * used.margin);
        painter.setPen(Qt::NoPen);
        painter.setBrush(option.state & QStyle::State_Selected && option.state & QStyle::State_Active
                             ? colors.text
                             : option.palette.color(QPalette::Active, QPalette::Highlight));
        painter.drawRoundedRect(QStyle::visualRect(option.direction, option.rect, bar), 1.5, 1.5);
    }
    const bool isBold = isFront || row.badges & NavigatorRow::isActive;
    const QFont& font = isBold ? used.front : used.title;
    paintMarkedText(
        painter, option, line,
        (isBold ? QFontMetrics(font) : used.titleMetrics).elidedText(row.title, Qt::ElideRight, line.width()), font,
        colors);
}

void NavigatorDelegate::paintMarkedText(QPainter& painter, const QStyleOptionViewItem& option, QRect line,
                                        const QString& text, const QFont& font, const Colors& colors) const
{
    painter.setFont(font);
    const auto marks = model_.documents().words().marks(text);
    if (!marks.empty()) {
        QTextLayout layout(text, font);
        QTextOption direction;
        direction.setTextDirection(option.direction);
        layout.setTextOption(direction);
        layout.beginLayout();
        QTextLine shaped = layout.createLine();
        shaped.setLineWidth(line.width());
        layout.endLayout();
        painter.setPen(Qt::NoPen);
        painter.setBrush(colors.mark);
        for (const FilterWords::Mark& mark : marks) {
            const double from = shaped.cursorToX(static_cast<int>(mark.start));
            const double to = shaped.cursorToX(static_cast<int>(mark.start + mark.length));
            painter.drawRoundedRect(QRectF(QPointF(line.left() + std::min(from, to) - 0.5, line.top()),
                                           QPointF(line.left() + std::max(from, to) + 0.5, line.bottom() + 1)),
                                    2, 2);
        }
        painter.setPen(colors.text);
        layout.draw(&painter, line.topLeft());
        return;
    }
    painter.setPen(colors.text);
    const Qt::Alignment start = QStyle::visualAlignment(option.direction, Qt::AlignLeft);
    painter.drawText(line, static_cast<int>(start | Qt::AlignVCenter) | Qt::TextSingleLine, text);
}

void NavigatorDelegate::paintSecondLine(QPainter& painter, const QStyleOptionViewItem& option, QRect line,
                                        const NavigatorRow& row, const Colors& colors) const
{
    const QFontMetrics& metrics = type(option.font).smallMetrics;
    const QString date = row.date ? QStringLiteral(" · ") + listedDate(*row.date, clock_()) : QString();
    const int left = line.width() - metrics.horizontalAdvance(date);
    painter.setFont(type(option.font).small);
    painter.setPen(colors.quiet);
    const Qt::Alignment start = QStyle::visualAlignment(option.direction, Qt::AlignLeft);
    painter.drawText(line, static_cast<int>(start | Qt::AlignVCenter) | Qt::TextSingleLine,
                     metrics.elidedText(row.place, Qt::ElideMiddle, std::max(0, left)) + date);
}

QWidget* NavigatorDelegate::createEditor(QWidget* parent, const QStyleOptionViewItem&, const QModelIndex&) const
{
    auto* const editor = new QLineEdit(parent);
    editor->setAccessibleName(tr("Title"));
    return editor;
}

void NavigatorDelegate::updateEditorGeometry(QWidget* editor, const QStyleOptionViewItem& option,
                                             const QModelIndex& index) const
{
    const auto row = model_.row(index);
    QRect box = titleLine(option, row ? row->depth : 0);
    const int height = std::min(editor->sizeHint().height(), option.rect.height());
    box.adjust(-type(option.font).margin, 0, type(option.font).margin, 0);
    box.moveTop(option.rect.top());
    box.setHeight(height);
    editor->setGeometry(box);
}

}  // namespace penmark
