// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/windows/LinePrompt.h"

#include <QApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPointer>
#include <algorithm>

namespace penmark {

namespace {

class PromptLine final : public QLineEdit {
public:
    PromptLine(QWidget& window, LinePrompt prompt)
        : QLineEdit(prompt.text, &window), prompt_(std::move(prompt)), before_(QApplication::focusWidget())
    {
        // One that is open still closes as soon as this one takes the focus.
        if (const auto* other = dynamic_cast<const PromptLine*>(before_.data()))
            before_ = other->before_;
        setAttribute(Qt::WA_DeleteOnClose);
        setAccessibleName(prompt_.name);
        setPlaceholderText(prompt_.name);
        setGeometry(prompt_.place);
        selectAll();
        show();
        raise();
        setFocus();
    }

private:
    void keyPressEvent(QKeyEvent* event) override
    {
        if (event->key() == Qt::Key_Escape)
            end(false);
        else if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter)
            end(true);
        else
            QLineEdit::keyPressEvent(event);
    }

    void focusOutEvent(QFocusEvent* event) override
    {
        QLineEdit::focusOutEvent(event);
        if (event->reason() != Qt::PopupFocusReason && event->reason() != Qt::ActiveWindowFocusReason)
            end(prompt_.commitsOnLeave);
    }

    void end(bool takes)
    {
        if (std::exchange(ended_, true))
            return;
        const bool hadFocus = hasFocus();
        close();
        if (hadFocus && before_)
            before_->setFocus();
        if (takes)
            prompt_.taken(text());
    }

    LinePrompt prompt_;
    QPointer<QWidget> before_;
    bool ended_ = false;
};

}  // namespace

void openLinePrompt(QWidget& window, const LinePrompt& prompt)
{
    new PromptLine(window, prompt);
}

std::optional<TypedPlace> parsePlace(const QString& text, std::size_t presentLine, std::size_t lineCount)
{
    const QString typed = text.trimmed();
    const qsizetype colon = typed.indexOf(QLatin1Char(':'));
    const QString linePart = (colon < 0 ? typed : typed.left(colon)).trimmed();
    const QString columnPart = colon < 0 ? QString() : typed.mid(colon + 1).trimmed();
    TypedPlace place;
    place.line = presentLine;
    if (!linePart.isEmpty()) {
        bool isNumber = false;
        const qlonglong number = linePart.toLongLong(&isNumber);
        if (!isNumber)
            return std::nullopt;
        const bool isRelative = linePart.startsWith(QLatin1Char('+')) || linePart.startsWith(QLatin1Char('-'));
        const auto last = static_cast<qlonglong>(lineCount);
        const qlonglong start = isRelative ? static_cast<qlonglong>(presentLine) : 0;
        place.line = static_cast<std::size_t>(std::clamp<qlonglong>(start + std::clamp(number, -last, last), 1, last));
    }
    if (!columnPart.isEmpty()) {
        bool isNumber = false;
        const qulonglong column = columnPart.toULongLong(&isNumber);
        if (!isNumber)
            return std::nullopt;
        place.column = std::max<std::size_t>(1, column);
    }
    if (linePart.isEmpty() && columnPart.isEmpty())
        return std::nullopt;
    return place;
}

}  // namespace penmark
