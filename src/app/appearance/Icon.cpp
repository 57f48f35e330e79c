// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/appearance/Icon.h"

#include <QGuiApplication>
#include <QIconEngine>
#include <QPainter>
#include <QPainterPath>
#include <QPalette>
#include <QPixmap>

namespace penmark {

namespace {

constexpr double gridSize = 16;

QPainterPath lines(std::initializer_list<QPointF> points, bool isClosed = false)
{
    QPainterPath path;
    for (const QPointF& point : points) {
        if (path.elementCount() == 0)
            path.moveTo(point);
        else
            path.lineTo(point);
    }
    if (isClosed)
        path.closeSubpath();
    return path;
}

QPainterPath ring(QPointF center, double radius)
{
    QPainterPath path;
    path.addEllipse(center, radius, radius);
    return path;
}

QPainterPath box(const QRectF& rect, double radius)
{
    QPainterPath path;
    path.addRoundedRect(rect, radius, radius);
    return path;
}

QPainterPath sliders()
{
    QPainterPath path;
    const double knobs[] = {10, 5.5, 10.5};
    double y = 4;
    for (const double x : knobs) {
        path.addPath(lines({{2, y}, {x - 1.6, y}}));
        path.addPath(ring({x, y}, 1.6));
        path.addPath(lines({{x + 1.6, y}, {14, y}}));
        y += 4;
    }
    return path;
}

QPainterPath keyboard()
{
    QPainterPath path = box({1.5, 4, 13, 8.5}, 1.5);
    for (const double x : {4.2, 6.7, 9.2, 11.7})
        path.addPath(lines({{x, 6.8}, {x + .1, 6.8}}));
    path.addPath(lines({{5, 9.8}, {11, 9.8}}));
    return path;
}

QPainterPath privacy()
{
    QPainterPath path = box({3, 7, 10, 7}, 1.5);
    path.moveTo(5, 7);
    path.lineTo(5, 5);
    path.arcTo(QRectF(5, 2, 6, 6), 180, -180);
    path.lineTo(11, 7);
    return path;
}

QPainterPath reset()
{
    QPainterPath path;
    path.arcMoveTo(QRectF(3, 3, 10, 10), 150);
    path.arcTo(QRectF(3, 3, 10, 10), 150, -290);
    path.addPath(lines({{3, 2.5}, {3.4, 5.8}, {6.7, 5.4}}));
    return path;
}

QPainterPath appearance()
{
    QPainterPath path = ring({8, 8}, 5.5);
    for (const double x : {9.5, 11.0, 12.3}) {
        const double half = x > 12 ? 3 : x > 10 ? 4.4 : 5;
        path.addPath(lines({{x, 8 - half}, {x, 8 + half}}));
    }
    path.addPath(lines({{8, 2.5}, {8, 13.5}}));
    return path;
}

/// What a pen of round ends follows on a grid of 16 x 16.
QPainterPath outline(IconShape shape)
{
    QPainterPath path;
    switch (shape) {
    case IconShape::add:
        path.addPath(lines({{8, 3}, {8, 13}}));
        path.addPath(lines({{3, 8}, {13, 8}}));
        return path;
    case IconShape::appearance:
        return appearance();
    case IconShape::check:
        return lines({{3, 8.5}, {6.5, 12}, {13, 4.5}});
    case IconShape::chevronDown:
        return lines({{4, 6}, {8, 10}, {12, 6}});
    case IconShape::chevronRight:
        return lines({{6, 4}, {10, 8}, {6, 12}});
    case IconShape::chevronUp:
        return lines({{4, 10}, {8, 6}, {12, 10}});
    case IconShape::close:
        path.addPath(lines({{4, 4}, {12, 12}}));
        path.addPath(lines({{12, 4}, {4, 12}}));
        return path;
    case IconShape::document:
        path.addPath(lines({{9.5, 2}, {3.5, 2}, {3.5, 14}, {12.5, 14}, {12.5, 5}, {9.5, 2}, {9.5, 5}, {12.5, 5}}));
        return path;
    case IconShape::folder:
        return lines({{2, 3.5}, {6, 3.5}, {7.5, 5}, {14, 5}, {14, 13}, {2, 13}}, true);
    case IconShape::keyboard:
        return keyboard();
    case IconShape::library:
        path.addPath(box({2.5, 2.5, 3, 11}, .5));
        path.addPath(box({5.5, 2.5, 3, 11}, .5));
        path.addPath(lines({{10.2, 3.4}, {12, 2.9}, {14.2, 12.9}, {12.4, 13.4}}, true));
        return path;
    case IconShape::menu:
        for (const double y : {4.0, 8.0, 12.0})
            path.addPath(lines({{2.5, y}, {13.5, y}}));
        return path;
    case IconShape::pencil:
        path.addPath(lines({{3, 13}, {3.7, 9.8}, {10.8, 2.7}, {13.3, 5.2}, {6.2, 12.3}}, true));
        path.addPath(lines({{9, 4.5}, {11.5, 7}}));
        return path;
    case IconShape::privacy:
        return privacy();
    case IconShape::reset:
        return reset();
    case IconShape::search:
        path.addPath(ring({7, 7}, 4.3));
        path.addPath(lines({{10.2, 10.2}, {13.5, 13.5}}));
        return path;
    case IconShape::settings:
        return sliders();
    case IconShape::warning:
        path.addPath(lines({{8, 2.2}, {14.5, 13.5}, {1.5, 13.5}}, true));
        path.addPath(lines({{8, 6.3}, {8, 9.4}}));
        path.addPath(lines({{8, 11.4}, {8, 11.5}}));
        return path;
    }
    return path;
}

class ShapeEngine final : public QIconEngine {
public:
    explicit ShapeEngine(IconShape shape) : shape_(shape) {}

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State) override
    {
        const QPalette palette = QGuiApplication::palette();
        const QPalette::ColorGroup group = mode == QIcon::Disabled ? QPalette::Disabled : QPalette::Active;
        const QPalette::ColorRole role = mode == QIcon::Selected ? QPalette::HighlightedText : QPalette::WindowText;
        paintIcon(*painter, shape_, rect, palette.color(group, role));
    }

    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override
    {
        QPixmap pixmap(size);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        paint(&painter, QRect(QPoint(), size), mode, state);
        return pixmap;
    }

    QIconEngine* clone() const override { return new ShapeEngine(shape_); }

private:
    IconShape shape_;
};

}  // namespace

QIcon icon(IconShape shape)
{
    return QIcon(new ShapeEngine(shape));
}

void paintIcon(QPainter& painter, IconShape shape, const QRectF& rect, const QColor& color)
{
    const double side = std::min(rect.width(), rect.height());
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(rect.center() - QPointF(side, side) / 2);
    painter.scale(side / gridSize, side / gridSize);
    painter.setPen(QPen(color, 1.3, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.setBrush(Qt::NoBrush);
    painter.drawPath(outline(shape));
    painter.restore();
}

}  // namespace penmark
