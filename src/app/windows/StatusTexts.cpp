// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/windows/StatusTexts.h"

#include "app/documents/RecoveryBuffer.h"
#include "text/Indentation.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QLocale>
#include <cerrno>
#include <cmath>
#include <cstring>

namespace penmark {

namespace {

struct Status {
    Q_DECLARE_TR_FUNCTIONS(penmark::Status)
};

constexpr std::size_t countedSelection = 2 << 20;  // bytes; some 10 ms
constexpr double appleEpoch = 978'307'200;         // 2001-01-01 in seconds since 1970

QString momentText(Date date)
{
    const QDateTime moment = QDateTime::fromMSecsSinceEpoch(static_cast<qint64>((date.seconds + appleEpoch) * 1000));
    if (moment.date() == QDate::currentDate())
        return moment.toString(QStringLiteral("HH:mm:ss"));
    return QLocale().toString(moment, QStringLiteral("d MMM yyyy HH:mm"));
}

// What SQLite and the system say when no text can be stored, whichever it is; empty for everything else.
QString reasonOfTheDisk(std::string_view sentence)
{
    const auto says = [&](std::string_view words) { return sentence.find(words) != std::string_view::npos; };
    if (says("database or disk is full") || says(std::strerror(ENOSPC)))
        return Status::tr("disk full");
    if (says(std::strerror(EDQUOT)))
        return Status::tr("no room left of what this user may store");
    if (says("open for reading only"))
        return Status::tr("this library is open for reading only");
    if (says(std::strerror(EROFS)))
        return Status::tr("the disk cannot be written to");
    return {};
}

QString number(std::size_t value)
{
    return QLocale().toString(static_cast<qulonglong>(value));
}

}  // namespace

QString storeFailureReason(const std::string& sentence)
{
    if (const QString known = reasonOfTheDisk(sentence); !known.isEmpty())
        return known;
    QString reason = QString::fromStdString(sentence);
    const QString beginning = QStringLiteral("Penmark could not complete the operation: ");
    if (reason.startsWith(beginning))
        reason.remove(0, beginning.size());
    return reason;
}

QString storeFailureText(const std::string& sentence)
{
    const QString known = reasonOfTheDisk(sentence);
    return known.isEmpty() ? QString::fromStdString(sentence) : Status::tr("Nothing can be stored: %1").arg(known);
}

QString storedText(const RecoveryBuffer& buffer)
{
    if (!buffer.error().empty())
        return Status::tr("Not stored: %1").arg(storeFailureReason(buffer.error()));
    if (!buffer.isStored())
        return Status::tr("Not stored yet");
    if (!buffer.isInLibrary())
        return Status::tr("Empty draft");
    return Status::tr("Stored %1").arg(momentText(buffer.storedAt().value_or(buffer.record().updatedAt)));
}

QString caretText(const TextSnapshot& text, const CaretSet& carets)
{
    if (carets.size() > 1)
        return Status::tr("%1 carets").arg(number(carets.size()));
    const Utf8Offset head = carets.main().head;
    const TextLine line = text.lineContaining(head);
    // Of a line of megabytes the column is a matter of characters nobody counts.
    constexpr std::size_t longestCounted = 100'000;
    const std::size_t column = head - line.start <= longestCounted ? columnAfter(text, {line.start, head}, 1) + 1
                                                                   : text.toUtf16(head) - text.toUtf16(line.start) + 1;
    return QStringLiteral("%1:%2").arg(number(line.number.value + 1), number(column));
}

QString selectionText(const TextSnapshot& text, const CaretSet& carets)
{
    std::size_t bytes = 0;
    for (const Caret& caret : carets)
        bytes += caret.range().end - caret.range().start;
    if (bytes == 0)
        return {};
    if (bytes > countedSelection)
        return Status::tr("%1 selected").arg(QLocale().formattedDataSize(static_cast<qint64>(bytes)));
    TextCounts counts;
    for (const Caret& caret : carets) {
        if (caret.hasSelection())
            counts += TextStatistics::count(text, caret.range());
    }
    const std::size_t words = counts.words();
    if (words == 0)
        return Status::tr("%n character(s) selected", nullptr, static_cast<int>(counts.characters()));
    return words == 1 ? Status::tr("1 word selected") : Status::tr("%1 words selected").arg(number(words));
}

QString countsText(const TextCounts& counts)
{
    const std::size_t words = counts.words();
    const QString count = words == 1 ? Status::tr("1 word") : Status::tr("%1 words").arg(number(words));
    const double minutes = counts.readingTime().count() / 60;
    if (minutes < 1)
        return count;
    return count + QStringLiteral(" · ") +
           Status::tr("%1 min").arg(number(static_cast<std::size_t>(std::round(minutes))));
}

QString lineEndText(const TextSnapshot& text, const EditOptions& options)
{
    const LineEndCounts ends = text.lineEnds();
    const int kinds = (ends.lf > 0) + (ends.crlf > 0) + (ends.cr > 0);
    if (kinds > 1)
        return Status::tr("Mixed");
    if (ends.crlf > 0 || (kinds == 0 && options.lineEnd == "\r\n"))
        return QStringLiteral("CRLF");
    if (ends.cr > 0 || (kinds == 0 && options.lineEnd == "\r"))
        return QStringLiteral("CR");
    return QStringLiteral("LF");
}

QString indentText(const EditOptions& options)
{
    if (options.indentWithTabs)
        return Status::tr("Tabs: %1").arg(options.tabWidth);
    return Status::tr("Blanks: %1").arg(options.indentWidth);
}

QString encodingName(RecoveryEncoding encoding)
{
    switch (encoding) {
    case RecoveryEncoding::utf8:
        return QStringLiteral("UTF-8");
    case RecoveryEncoding::utf8BOM:
        return Status::tr("UTF-8 with BOM");
    case RecoveryEncoding::utf16LE:
        return QStringLiteral("UTF-16 LE");
    case RecoveryEncoding::utf16BE:
        return QStringLiteral("UTF-16 BE");
    }
    return {};
}

}  // namespace penmark
