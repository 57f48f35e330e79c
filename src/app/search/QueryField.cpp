// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/search/QueryField.h"

#include "app/appearance/Icon.h"

#include <QAction>
#include <QKeyEvent>

namespace penmark {

void SearchHistory::add(const QString& query)
{
    if (query.trimmed().isEmpty())
        return;
    queries_.removeAll(query);
    queries_.append(query);
    if (queries_.size() > most)
        queries_.removeFirst();
}

QueryField::QueryField(SearchHistory& history) : history_(history)
{
    setClearButtonEnabled(true);
    addAction(icon(IconShape::search), LeadingPosition);
    connect(this, &QLineEdit::textEdited, this, [this] { back_ = 0; });
}

void QueryField::remember()
{
    history_.add(text());
    back_ = 0;
}

void QueryField::step(int steps)
{
    const QStringList& queries = history_.queries();
    if (back_ == 0)
        draft_ = text();
    // What stands here need not be offered again.
    qsizetype to = back_ + steps;
    if (back_ == 0 && to <= queries.size() && queries.at(queries.size() - to) == draft_)
        ++to;
    if (to < 0 || to > queries.size())
        return;
    back_ = to;
    setText(back_ == 0 ? draft_ : queries.at(queries.size() - back_));
    const qsizetype shown = back_;
    emit textEdited(text());
    back_ = shown;
}

void QueryField::keyPressEvent(QKeyEvent* event)
{
    const Qt::KeyboardModifiers modifiers = event->modifiers() & ~Qt::KeypadModifier;
    switch (modifiers == Qt::NoModifier ? event->key() : 0) {
    case Qt::Key_Up:
        step(1);
        return;
    case Qt::Key_Down:
        if (back_ > 0)
            step(-1);
        else
            emit leftDownwards();
        return;
    default:
        break;
    }
    const bool isEnter = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (isEnter && (modifiers == Qt::NoModifier || modifiers == Qt::ControlModifier))
        emit submitted(modifiers == Qt::ControlModifier);
    else
        QLineEdit::keyPressEvent(event);
}

}  // namespace penmark
