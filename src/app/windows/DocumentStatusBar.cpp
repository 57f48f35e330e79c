// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/windows/DocumentStatusBar.h"

#include "app/documents/RecoveryBuffer.h"
#include "app/editor/EditorView.h"
#include "app/windows/StatusTexts.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QMenu>
#include <QPainter>
#include <QTimerEvent>
#include <QToolButton>

namespace penmark {

namespace {

constexpr int updateDelay = 60;                   // ms: several times a second is enough for figures
constexpr int countDelay = 300;                   // ms behind the last edit of a text that is not counted yet
constexpr std::size_t countedAtOnce = 256 << 10;  // bytes; about a millisecond

}  // namespace

DocumentStatusBar::DocumentStatusBar(QWidget* parent) : QFrame(parent), message_(new QLabel(this))
{
    auto* const layout = new QHBoxLayout(this);
    layout->setContentsMargins(8, 1, 8, 1);
    layout->setSpacing(2);
    const std::array<QString, partCount> names{tr("Stored in the library"),
                                               tr("File"),
                                               tr("Position of the caret"),
                                               tr("Selection"),
                                               tr("Counts"),
                                               tr("Language"),
                                               tr("Encoding"),
                                               tr("Line ends"),
                                               tr("Indentation")};
    for (std::size_t index = 0; index < partCount; ++index) {
        auto* const part = new QToolButton(this);
        part->setAutoRaise(true);
        part->setToolButtonStyle(Qt::ToolButtonTextOnly);
        part->setFocusPolicy(Qt::TabFocus);
        part->setProperty("what", names[index]);
        part->hide();
        connect(part, &QToolButton::clicked, this, [this, index] { press(static_cast<Part>(index)); });
        buttons_[index] = part;
        layout->addWidget(part);
        if (static_cast<Part>(index) == Part::file) {
            layout->addWidget(message_);
            layout->addStretch(1);
        }
    }
    message_->setTextFormat(Qt::PlainText);
    message_->hide();
}

void DocumentStatusBar::setDocument(RecoveryBuffer* buffer, EditorView* view)
{
    if (buffer && buffer_ == buffer && view_ == view) {
        refresh();  // its carets have moved
        return;
    }
    if (buffer_ != buffer) {
        if (buffer_)
            disconnect(buffer_, nullptr, this, nullptr);
        if (buffer) {
            connect(buffer, &RecoveryBuffer::onEdit, this, &DocumentStatusBar::refresh);
            connect(buffer, &RecoveryBuffer::stateChanged, this, &DocumentStatusBar::refresh);
        }
    }
    buffer_ = buffer;
    view_ = view;
    update();
}

void DocumentStatusBar::refresh()
{
    if (!updateTimer_.isActive())
        updateTimer_.start(updateDelay, this);
}

void DocumentStatusBar::timerEvent(QTimerEvent* event)
{
    if (event->timerId() == updateTimer_.timerId()) {
        updateTimer_.stop();
        update();
    } else if (event->timerId() == messageTimer_.timerId()) {
        endMessage();
    } else if (event->timerId() == countTimer_.timerId()) {
        countTimer_.stop();
        if (buffer_)
            buffer_->content().statistics();
        update();
    }
}

void DocumentStatusBar::set(Part part, const QString& text, const QString& toolTip)
{
    QToolButton& shown = button(part);
    const bool visible = !text.isEmpty();
    if (shown.text() != text) {
        shown.setText(text);
        const QString what = shown.property("what").toString();
        shown.setAccessibleName(what + QStringLiteral(": ") + text);
    }
    // Also where the text stays: two saved files say the same of themselves.
    const QString tip = toolTip.isEmpty() ? shown.property("what").toString() : toolTip;
    if (shown.toolTip() != tip)
        shown.setToolTip(tip);
    if (shown.isHidden() == visible)
        shown.setVisible(visible);
}

QString DocumentStatusBar::textOf(Part part) const
{
    return button(part).isHidden() ? QString() : button(part).text();
}

QString DocumentStatusBar::message() const
{
    return message_->isHidden() ? QString() : message_->text();
}

void DocumentStatusBar::showMessage(const QString& sentence, int milliseconds)
{
    message_->setText(sentence);
    message_->setAccessibleName(sentence);
    message_->show();
    messageTimer_.start(milliseconds, this);
    update();
}

void DocumentStatusBar::endMessage()
{
    messageTimer_.stop();
    message_->hide();
    update();
}

QMenu* DocumentStatusBar::menuOf(Part part)
{
    QMenu*& menu = menus_[static_cast<std::size_t>(part)];
    if (!menu)
        menu = new QMenu(&button(part));
    return menu;
}

// Not by the button itself, which would draw an arrow for it.
void DocumentStatusBar::press(Part part)
{
    QMenu* const menu = menus_[static_cast<std::size_t>(part)];
    if (!menu) {
        emit clicked(part);
        return;
    }
    const QPoint above = button(part).mapToGlobal(QPoint(0, -menu->sizeHint().height()));
    menu->popup(above);
}

QSize DocumentStatusBar::minimumSizeHint() const
{
    constexpr int narrowest = 200;
    return {narrowest, QFrame::minimumSizeHint().height()};
}

void DocumentStatusBar::update()
{
    const bool saysSomethingElse = !message_->isHidden();
    if (!buffer_ || !view_) {
        for (std::size_t index = 0; index < partCount; ++index)
            set(static_cast<Part>(index), {});
        return;
    }
    const EditorDocument& content = buffer_->content();
    const TextSnapshot& text = content.text();
    const CaretSet& carets = view_->editor().carets();
    const QString stored = storedText(*buffer_);
    set(Part::stored, saysSomethingElse && buffer_->error().empty() ? QString() : stored,
        QString::fromStdString(buffer_->error()));
    const std::string_view file = buffer_->fileStatusText();
    set(Part::file, saysSomethingElse ? QString() : QString::fromUtf8(file.data(), static_cast<qsizetype>(file.size())),
        QString::fromStdString(buffer_->record().externalPath.value_or(std::string())));
    set(Part::caret, caretText(text, carets));
    set(Part::selection, selectionText(text, carets));
    const TextStatistics* statistics = content.countedStatistics();
    if (!statistics && !content.isLarge()) {
        if (text.end().value <= countedAtOnce)
            statistics = buffer_->content().statistics();
        else
            countTimer_.start(countDelay, this);
    }
    set(Part::counts, statistics ? countsText(statistics->counts()) : QString());
    const std::string_view language = name(content.language());
    set(Part::language, QString::fromUtf8(language.data(), static_cast<qsizetype>(language.size())));
    set(Part::encoding, encodingName(buffer_->record().encoding));
    set(Part::lineEnd, lineEndText(text, content.options()));
    set(Part::indent, indentText(content.options()));
}

void DocumentStatusBar::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.fillRect(rect(), palette().color(QPalette::Window));
    painter.fillRect(QRect(0, 0, width(), 1), palette().color(QPalette::Mid));
}

}  // namespace penmark
