// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/navigator/DraggedRows.h"

#include <QByteArray>
#include <QList>
#include <QMimeData>
#include <QUrl>
#include <algorithm>
#include <optional>

namespace penmark {
namespace {

QByteArray bytesOf(const Uuid& id)
{
    return QByteArray::fromStdString(id.text());
}

void addOnce(std::vector<Uuid>& ids, const Uuid& id)
{
    if (std::find(ids.begin(), ids.end(), id) == ids.end())
        ids.push_back(id);
}

void readLine(const QByteArray& line, DraggedRows& dragged)
{
    const QList<QByteArray> words = line.split(' ');
    if (words.size() < 2)
        return;
    if (words[0] == "file") {
        dragged.files.push_back(QByteArray::fromPercentEncoding(words[1]).toStdString());
        return;
    }
    const auto id = Uuid::parse(words[1].toStdString());
    if (!id)
        return;
    if (words[0] == "session")
        addOnce(dragged.sessions, *id);
    else if (words[0] == "window")
        addOnce(dragged.windows, *id);
    else if (words[0] == "tab" && words.size() == 3)
        if (const auto document = Uuid::parse(words[2].toStdString()))
            dragged.tabs.push_back({*id, *document});
}

}  // namespace

const char* const DraggedRows::documentsFormat = "application/x-penmark-documents";
const char* const DraggedRows::tabFormat = "application/x-penmark-tab";
const char* const DraggedRows::rowsFormat = "application/x-penmark-rows";

DraggedRows DraggedRows::read(const QMimeData& data)
{
    DraggedRows dragged;
    for (const QByteArray& line : data.data(QLatin1String(documentsFormat)).split('\n'))
        if (const auto id = Uuid::parse(line.trimmed().toStdString()))
            addOnce(dragged.documents, *id);
    for (const QByteArray& line : data.data(QLatin1String(rowsFormat)).split('\n'))
        readLine(line, dragged);
    if (data.hasFormat(QLatin1String(tabFormat)))
        readLine("tab " + data.data(QLatin1String(tabFormat)), dragged);
    for (const Tab& tab : dragged.tabs)
        addOnce(dragged.documents, tab.document);
    return dragged;
}

void DraggedRows::write(QMimeData& data) const
{
    QByteArray lines;
    for (const Uuid& id : documents)
        lines += bytesOf(id) + '\n';
    if (!lines.isEmpty())
        data.setData(QLatin1String(documentsFormat), lines);
    QByteArray rows;
    for (const Tab& tab : tabs)
        rows += "tab " + bytesOf(tab.window) + ' ' + bytesOf(tab.document) + '\n';
    for (const Uuid& id : windows)
        rows += "window " + bytesOf(id) + '\n';
    for (const Uuid& id : sessions)
        rows += "session " + bytesOf(id) + '\n';
    QList<QUrl> urls;
    for (const std::string& path : files) {
        const QByteArray encoded = QByteArray::fromStdString(path).toPercentEncoding("/");
        rows += "file " + encoded + '\n';
        urls << QUrl::fromEncoded("file://" + encoded);
    }
    if (!rows.isEmpty())
        data.setData(QLatin1String(rowsFormat), rows);
    if (!urls.isEmpty())
        data.setUrls(urls);
}

}  // namespace penmark
