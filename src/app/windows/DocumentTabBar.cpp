// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/windows/DocumentTabBar.h"

#include <QApplication>
#include <QContextMenuEvent>
#include <QCursor>
#include <QDrag>
#include <QDragEnterEvent>
#include <QMimeData>
#include <QMouseEvent>
#include <QPixmap>
#include <QPointer>
#include <algorithm>

namespace penmark {

namespace {

const QString tabFormat = QStringLiteral("application/x-penmark-tab");
const QString documentsFormat = QStringLiteral("application/x-penmark-documents");
constexpr int outside = 24;  // pixels above or below the bar from which on a tab leaves it
constexpr int widestTab = 260;
constexpr int narrowestTab = 90;

// At the end of a drag: Esc ends it with the button still down. Where a program does not know the places of its windows
// it is the button alone that tells.
bool isDroppedOutside()
{
    if (QGuiApplication::mouseButtons().testFlag(Qt::LeftButton))
        return false;
    if (QGuiApplication::platformName().startsWith(QLatin1String("wayland")))
        return true;
    const QPoint at = QCursor::pos();
    const QWidgetList windows = QApplication::topLevelWidgets();
    return std::none_of(windows.begin(), windows.end(), [&](const QWidget* window) {
        return window->isVisible() && !window->isMinimized() && window->windowType() == Qt::Window &&
               window->frameGeometry().contains(at);
    });
}

QByteArray textOf(const Uuid& id)
{
    return QByteArray::fromStdString(id.text());
}

std::optional<Uuid> idOf(const QByteArray& text)
{
    return Uuid::parse({text.data(), static_cast<std::size_t>(text.size())});
}

}  // namespace

DocumentTabBar::DocumentTabBar(const Uuid& window, QWidget* parent) : QTabBar(parent), window_(window)
{
    setDocumentMode(true);
    setDrawBase(false);
    setExpanding(false);
    setMovable(true);
    setTabsClosable(true);
    setUsesScrollButtons(true);
    setElideMode(Qt::ElideRight);
    setAcceptDrops(true);
    setFocusPolicy(Qt::TabFocus);
    setSelectionBehaviorOnRemove(QTabBar::SelectPreviousTab);
    setAccessibleName(tr("Documents"));
    connect(this, &QTabBar::currentChanged, this, [this](int index) {
        if (!setting_ && index >= 0)
            emit selected(documentAt(index));
    });
    connect(this, &QTabBar::tabCloseRequested, this, [this](int index) { emit closeWanted(documentAt(index)); });
    connect(this, &QTabBar::tabMoved, this, [this](int from, int to) {
        if (!setting_)
            emit movedByUser(from, to);
    });
}

Uuid DocumentTabBar::documentAt(int index) const
{
    return tabData(index).value<Uuid>();
}

void DocumentTabBar::label(int index, const Tab& tab)
{
    // "&" would underline the next letter.
    QString title = tab.title;
    title.replace(QLatin1Char('&'), QStringLiteral("&&"));
    if (tab.fileDiffers)
        title += QStringLiteral(" •");
    if (tabText(index) != title)
        setTabText(index, title);
    if (tabToolTip(index) != tab.toolTip)
        setTabToolTip(index, tab.toolTip);
    setAccessibleTabName(index, tab.fileDiffers ? tr("%1, the file differs").arg(tab.title) : tab.title);
}

void DocumentTabBar::setTab(const Tab& tab)
{
    for (int index = 0; index < count(); ++index) {
        if (documentAt(index) == tab.document)
            label(index, tab);
    }
}

void DocumentTabBar::setTabs(const std::vector<Tab>& tabs, std::optional<Uuid> current)
{
    setting_ = true;
    for (int index = count() - 1; index >= 0; --index) {
        const Uuid document = documentAt(index);
        if (std::none_of(tabs.begin(), tabs.end(), [&](const Tab& tab) { return tab.document == document; }))
            removeTab(index);
    }
    for (std::size_t place = 0; place < tabs.size(); ++place) {
        const int to = static_cast<int>(place);
        int from = to;
        while (from < count() && documentAt(from) != tabs[place].document)
            ++from;
        if (from == count()) {
            insertTab(to, QString());
            setTabData(to, QVariant::fromValue(tabs[place].document));
        } else if (from != to) {
            moveTab(from, to);
        }
        label(to, tabs[place]);
        if (tabs[place].document == current)
            setCurrentIndex(to);
    }
    setting_ = false;
}

QSize DocumentTabBar::tabSizeHint(int index) const
{
    QSize size = QTabBar::tabSizeHint(index);
    size.setWidth(std::clamp(size.width(), narrowestTab, widestTab));
    size.setHeight(std::max(size.height(), fontMetrics().height() + 14));
    return size;
}

QSize DocumentTabBar::minimumTabSizeHint(int index) const
{
    return {narrowestTab, tabSizeHint(index).height()};
}

void DocumentTabBar::mousePressEvent(QMouseEvent* event)
{
    const int index = tabAt(event->position().toPoint());
    pressed_ = event->button() == Qt::LeftButton && index >= 0 ? documentAt(index) : Uuid();
    QTabBar::mousePressEvent(event);
}

void DocumentTabBar::mouseMoveEvent(QMouseEvent* event)
{
    const int y = event->position().toPoint().y();
    if (pressed_ != Uuid() && event->buttons().testFlag(Qt::LeftButton) && (y < -outside || y > height() + outside)) {
        // The bar lets go of the tab before the drag takes it.
        QMouseEvent release(QEvent::MouseButtonRelease, event->position(), event->globalPosition(), Qt::LeftButton,
                            Qt::NoButton, event->modifiers());
        QTabBar::mouseReleaseEvent(&release);
        dragOut();
        return;
    }
    QTabBar::mouseMoveEvent(event);
}

void DocumentTabBar::dragOut()
{
    const Uuid document = std::exchange(pressed_, Uuid());
    int index = 0;
    while (index < count() && documentAt(index) != document)
        ++index;
    if (index == count())
        return;
    auto* const dragged = new QMimeData;
    dragged->setData(tabFormat, textOf(window_) + ' ' + textOf(document));
    // Not of this bar, whose window may close when its last tab is dropped elsewhere.
    auto* const drag = new QDrag(qApp);
    drag->setMimeData(dragged);
    drag->setPixmap(grab(tabRect(index)));
    const QPointer<DocumentTabBar> alive(this);
    dragging_ = true;
    const Qt::DropAction action = drag->exec(Qt::MoveAction);
    if (!alive)
        return;
    dragging_ = false;
    if (action == Qt::IgnoreAction && !drag->target() && isDroppedOutside())
        emit draggedOut(document);
    emit dragEnded();
}

void DocumentTabBar::mouseReleaseEvent(QMouseEvent* event)
{
    pressed_ = Uuid();
    const int index = tabAt(event->position().toPoint());
    QTabBar::mouseReleaseEvent(event);
    if (event->button() == Qt::MiddleButton && index >= 0)
        emit closeWanted(documentAt(index));
}

void DocumentTabBar::mouseDoubleClickEvent(QMouseEvent* event)
{
    const int index = tabAt(event->position().toPoint());
    if (event->button() != Qt::LeftButton)
        return;
    if (index < 0)
        emit newDraftWanted();
    else
        emit renameWanted(documentAt(index));
}

void DocumentTabBar::contextMenuEvent(QContextMenuEvent* event)
{
    const bool byKey = event->reason() == QContextMenuEvent::Keyboard;
    const int index = byKey ? currentIndex() : tabAt(event->pos());
    if (index >= 0)
        emit menuWanted(documentAt(index), byKey ? mapToGlobal(tabRect(index).bottomLeft()) : event->globalPos());
}

// Turning a wheel over the tabs goes through them; a small turn of a touch pad does not.
void DocumentTabBar::wheelEvent(QWheelEvent* event)
{
    const QPoint turned = event->angleDelta();
    wheel_ += std::abs(turned.x()) > std::abs(turned.y()) ? turned.x() : turned.y();
    constexpr int notch = 120;
    for (; wheel_ >= notch; wheel_ -= notch)
        setCurrentIndex(std::max(0, currentIndex() - 1));
    for (; wheel_ <= -notch; wheel_ += notch)
        setCurrentIndex(std::min(count() - 1, currentIndex() + 1));
    event->accept();
}

std::optional<DocumentTabBar::Dragged> DocumentTabBar::draggedIn(const QMimeData& carried)
{
    Dragged dragged;
    if (carried.hasFormat(tabFormat)) {
        const QList<QByteArray> words = carried.data(tabFormat).split(' ');
        if (words.size() != 2)
            return std::nullopt;
        dragged.window = idOf(words[0]);
        if (const auto document = idOf(words[1]))
            dragged.documents.push_back(*document);
    } else if (carried.hasFormat(documentsFormat)) {
        for (const QByteArray& word : carried.data(documentsFormat).split('\n')) {
            if (const auto document = idOf(word.trimmed()))
                dragged.documents.push_back(*document);
        }
    }
    if (dragged.documents.empty())
        return std::nullopt;
    return dragged;
}

void DocumentTabBar::dragEnterEvent(QDragEnterEvent* event)
{
    if (draggedIn(*event->mimeData()))
        event->acceptProposedAction();
}

void DocumentTabBar::dragMoveEvent(QDragMoveEvent* event)
{
    event->acceptProposedAction();
}

void DocumentTabBar::dropEvent(QDropEvent* event)
{
    const auto dragged = draggedIn(*event->mimeData());
    if (!dragged)
        return;
    const QPoint at = event->position().toPoint();
    int index = tabAt(at);
    if (index < 0)
        index = count();
    else if (at.x() > tabRect(index).center().x())
        ++index;
    event->setDropAction(Qt::MoveAction);
    event->accept();
    emit droppedIn(*dragged, index);
}

}  // namespace penmark
