// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/windows/ClipboardHistory.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>

namespace penmark {

ClipboardHistory::ClipboardHistory(QObject* parent) : QObject(parent)
{
    connect(QGuiApplication::clipboard(), &QClipboard::dataChanged, this, &ClipboardHistory::take);
}

void ClipboardHistory::take()
{
    // What other programs copy is fetched when it is pasted; asking for it now could keep the program waiting.
    const QClipboard* const clipboard = QGuiApplication::clipboard();
    if (!clipboard->ownsClipboard())
        return;
    const QMimeData* const data = clipboard->mimeData();
    constexpr qsizetype longest = 1 << 20;
    if (!data || !data->hasText() || data->hasFormat(QStringLiteral("x-kde-passwordManagerHint")))
        return;
    const QString text = data->text();
    if (text.isEmpty() || text.size() > longest)
        return;
    texts_.removeAll(text);
    texts_.prepend(text);
    while (texts_.size() > entries)
        texts_.removeLast();
}

}  // namespace penmark
