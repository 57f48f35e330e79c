// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/windows/DocumentPane.h"

#include "app/appearance/Appearance.h"
#include "app/commands/CommandRegistry.h"
#include "app/documents/DocumentRegistry.h"
#include "app/editor/EditorView.h"
#include "app/find/FindBar.h"
#include "app/settings/SettingsStore.h"
#include "app/windows/MessageBar.h"
#include "app/windows/Program.h"

#include <QApplication>
#include <QEvent>
#include <QFontDatabase>
#include <QSplitter>
#include <QUrl>
#include <QVBoxLayout>

namespace penmark {

DocumentPane::DocumentPane(Program& program, const Uuid& document, QWidget* parent)
    : QWidget(parent), program_(program), document_(document)
{
    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    setAutoFillBackground(true);
    setBackgroundRole(QPalette::Base);
}

DocumentPane::~DocumentPane()
{
    delete findBar_;  // it looks at a view
    delete views_;    // views go before what they show
    if (buffer_)
        program_.documents().release(document_);
}

void DocumentPane::setBuffer(RecoveryBuffer& buffer, const EditorState* state)
{
    if (buffer_)
        return;
    buffer_ = &buffer;
    program_.documents().retain(document_);
    views_ = new QSplitter(this);
    views_->setChildrenCollapsible(false);
    layout()->addWidget(views_);
    view_ = makeView();
    views_->addWidget(view_);
    // A layout shows what it is given only when the events are next looked at, and a window that becomes active before
    // gives the keyboard to another part.
    views_->show();
    if (state)
        view_->restore(*state);
    connect(&buffer, &RecoveryBuffer::stateChanged, this, &DocumentPane::update);
    connect(&program_.appearance(), &Appearance::changed, this, [this] {
        for (auto* view : findChildren<EditorView*>())
            view->setColors(program_.appearance().editorColors());
    });
    connect(&program_.settings(), &SettingsStore::changed, this, [this] {
        for (auto* view : findChildren<EditorView*>())
            applySettings(*view);
    });
    update();
    emit viewChanged();
}

EditorView* DocumentPane::makeView()
{
    auto* const view = new EditorView(buffer_->content());
    view->setKeys(&program_.commands());
    applySettings(*view);
    view->setColors(program_.appearance().editorColors());
    view->setFrameShape(QFrame::NoFrame);
    view->installEventFilter(this);
    connect(view, &EditorView::caretsChanged, this, [this, view] {
        if (view == view_)
            emit viewChanged();
    });
    connect(view, &EditorView::message, this, &DocumentPane::statusMessage);
    connect(view, &EditorView::filesDropped, this, &DocumentPane::filesDropped);
    return view;
}

QFont documentFont(const Settings& settings)
{
    QFont font = settings.fontFamily.empty() ? QFontDatabase::systemFont(QFontDatabase::FixedFont)
                                             : QFont(QString::fromStdString(settings.fontFamily));
    font.setPointSizeF(settings.fontSize);
    font.setStyleHint(QFont::Monospace);
    return font;
}

void DocumentPane::applySettings(EditorView& view) const
{
    const Settings& settings = program_.settings().settings();
    view.setEditorFont(documentFont(settings));
    view.setDefaults({settings.wrap, settings.showBlanks, settings.lineNumbers});
    view.setRightMargin(static_cast<std::size_t>(settings.rightMargin));
}

std::optional<EditorState> DocumentPane::state() const
{
    if (!view_)
        return std::nullopt;
    return view_->state();
}

void DocumentPane::focusText()
{
    if (view_)
        view_->setFocus();
    else
        setFocus();
}

bool DocumentPane::isSplit() const
{
    return views_ && views_->count() > 1;
}

void DocumentPane::split(Qt::Orientation orientation)
{
    if (!views_)
        return;
    if (isSplit()) {
        const bool same = views_->orientation() == orientation;
        if (!same) {
            views_->setOrientation(orientation);
            return;
        }
        for (int index = 0; index < views_->count(); ++index) {
            if (views_->widget(index) != view_) {
                delete views_->widget(index);
                break;
            }
        }
        focusText();
        return;
    }
    views_->setOrientation(orientation);
    EditorView* const second = makeView();
    second->restore(view_->state());
    views_->addWidget(second);
    const int half = (orientation == Qt::Horizontal ? views_->width() : views_->height()) / 2;
    views_->setSizes({half, half});
    second->setReadOnly(view_->isReadOnly());
    second->setAccessibleName(view_->accessibleName());
    second->setFocus();
}

bool DocumentPane::makeFindBar()
{
    if (findBar_ || !view_)
        return view_ != nullptr;
    findBar_ = new FindBar(program_.findMemory(), this);
    auto* const rows = static_cast<QVBoxLayout*>(layout());
    rows->insertWidget(rows->indexOf(views_), findBar_);
    findBar_->setView(view_);
    connect(findBar_, &FindBar::message, this, &DocumentPane::statusMessage);
    connect(findBar_, &FindBar::dismissed, this, [this](bool hadFocus) {
        if (hadFocus)
            focusText();
    });
    return true;
}

void DocumentPane::openFind(bool withReplacement)
{
    if (makeFindBar())
        findBar_->open(withReplacement);
}

void DocumentPane::findAgain(bool forwards)
{
    if (makeFindBar())
        findBar_->findAgain(forwards);
}

bool DocumentPane::closeFind()
{
    return findBar_ && findBar_->dismiss();
}

void DocumentPane::say(const QString& sentence)
{
    if (buffer_)
        buffer_->setNotice(sentence.toStdString());
}

bool DocumentPane::hideMessage()
{
    if (!bar_ || !bar_->isVisible())
        return false;
    const bool hadFocus = bar_->isAncestorOf(focusWidget());
    bar_->hide();
    hidden_ = shown_;
    if (buffer_ && !buffer_->notice().empty())
        buffer_->setNotice({});
    if (hadFocus)
        focusText();
    return true;
}

void DocumentPane::setBarAllowed(bool allowed)
{
    if (std::exchange(barIsAllowed_, allowed) == allowed)
        return;
    if (allowed) {
        shown_.reset();  // what is to be said now is shown, be it what was said before
        update();
    } else if (bar_) {
        const bool hadFocus = bar_->isAncestorOf(QApplication::focusWidget());
        bar_->hide();
        if (hadFocus)
            focusText();
    }
}

void DocumentPane::update()
{
    if (!buffer_)
        return;
    const QString title = QString::fromStdString(buffer_->shownTitle());
    for (auto* view : findChildren<EditorView*>()) {
        view->setReadOnly(!buffer_->permitsEditing());
        view->optionsChanged();
        if (view->accessibleName() != title)
            view->setAccessibleName(title);
    }
    const auto message = messageFor(*buffer_);
    if (message == shown_)
        return;
    shown_ = message;
    // A button that goes must not pass the focus on to whatever comes next.
    if (bar_ && bar_->isVisible() && bar_->isAncestorOf(QApplication::focusWidget()))
        focusText();
    if (!message || message == hidden_) {
        if (bar_)
            bar_->hide();
        if (!message)
            hidden_.reset();
        return;
    }
    hidden_.reset();
    if (!barIsAllowed_) {
        emit messageWaits();
        return;
    }
    if (!bar_) {
        bar_ = new MessageBar(this);
        static_cast<QVBoxLayout*>(layout())->insertWidget(0, bar_);
        connect(bar_, &MessageBar::dismissed, this, &DocumentPane::hideMessage);
    }
    std::vector<MessageBar::Button> buttons;
    for (const MessageAction action : message->actions)
        buttons.push_back({actionName(action), [this, action] { emit actionWanted(action); }});
    bar_->show(message->sentence, message->weight, buttons);
}

bool DocumentPane::eventFilter(QObject* object, QEvent* event)
{
    if (event->type() == QEvent::FocusIn) {
        auto* const view = static_cast<EditorView*>(object);
        if (view != view_) {
            view_ = view;
            if (findBar_)
                findBar_->setView(view);
            emit viewChanged();
        }
    }
    return QWidget::eventFilter(object, event);
}

}  // namespace penmark
