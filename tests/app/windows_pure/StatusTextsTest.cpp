// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/windows/StatusTexts.h"

#include "app/documents/LibraryFixture.h"
#include "base/SystemError.h"
#include "text/Indentation.h"
#include "text/TextStatistics.h"

#include <QLocale>
#include <QRegularExpression>
#include <cerrno>

#include <sqlite3.h>

namespace penmark {
namespace {

class StatusTextsTest : public LibraryFixture {
protected:
    StatusTextsTest() { QLocale::setDefault(QLocale::c()); }
    ~StatusTextsTest() override { QLocale::setDefault(QLocale::system()); }
};

TEST_F(StatusTextsTest, WhetherATextIsStored)
{
    RecoveryBuffer& buffer = registry.createDraft();
    registry.retain(buffer.id());
    EXPECT_EQ(storedText(buffer).toStdString(), "Empty draft");
    type(buffer, "text");
    EXPECT_EQ(storedText(buffer).toStdString(), "Not stored yet");
    failCommits(1);
    ASSERT_TRUE(store(buffer));
    EXPECT_EQ(storedText(buffer).toStdString(), "Not stored: The disk is full.");
    ASSERT_TRUE(store(buffer));
    EXPECT_TRUE(
        QRegularExpression(QStringLiteral("^Stored \\d\\d:\\d\\d:\\d\\d$")).match(storedText(buffer)).hasMatch())
        << storedText(buffer).toStdString();

    LoadedDocument old;
    old.record.id = Uuid::random();
    old.record.updatedAt = Date{0};
    old.isInLibrary = old.textIsStored = true;
    EXPECT_TRUE(storedText(RecoveryBuffer(std::move(old))).contains(QStringLiteral(" 200"))) << "with its day";
}

TEST_F(StatusTextsTest, ADiskThatIsFullIsNamedWhoeverSaysIt)
{
    const auto sentence = [](std::string_view detail) { return std::string(RecoveryError::storage(detail).what()); };
    const std::string full = sentence(sqlite3_errstr(SQLITE_FULL));
    EXPECT_EQ(storeFailureText(full).toStdString(), "Nothing can be stored: disk full");
    EXPECT_EQ(storeFailureReason(full).toStdString(), "disk full");
    EXPECT_EQ(storeFailureText(sentence(SystemError(ENOSPC, "/library").what())).toStdString(),
              "Nothing can be stored: disk full");
    EXPECT_EQ(storeFailureText(sentence(SystemError(EROFS, "/library").what())).toStdString(),
              "Nothing can be stored: the disk cannot be written to");
    const std::string other = RecoveryError(RecoveryError::Case::revisionConflict).what();
    EXPECT_EQ(storeFailureText(other).toStdString(), other);
    EXPECT_EQ(storeFailureReason(sentence("disk I/O error")).toStdString(), "disk I/O error");
}

TEST_F(StatusTextsTest, CaretsAndSelections)
{
    const TextSnapshot text(std::string("one two\nGr\xC3\xB6\xC3\x9F\x65 \xF0\x9F\x98\x80!\n..."));
    const auto at = [](std::size_t offset) { return Caret(Utf8Offset(offset)); };
    EXPECT_EQ(caretText(text, CaretSet(at(0))).toStdString(), "1:1");
    EXPECT_EQ(caretText(text, CaretSet(at(14))).toStdString(), "2:5") << "characters, not bytes";
    EXPECT_EQ(caretText(text, CaretSet(Caret(text.end()))).toStdString(), "3:4");
    EXPECT_EQ(selectionText(text, CaretSet(at(3))).toStdString(), "");
    const auto selected = [&](std::size_t from, std::size_t to) {
        return selectionText(text, CaretSet(Caret(Utf8Offset(from), Utf8Offset(to)))).toStdString();
    };
    EXPECT_EQ(selected(0, 3), "1 word selected");
    EXPECT_EQ(selected(7, 0), "2 words selected") << "backwards too";
    const TextSnapshot large(std::string(3 << 20, 'x'));
    EXPECT_NE(selectionText(large, CaretSet(Caret(Utf8Offset(0), large.end()))).toStdString().find("MiB"),
              std::string::npos)
        << "is not counted";
}

TEST_F(StatusTextsTest, CountsOfATextWithTheTimeItTakes)
{
    const auto counted = [](std::size_t words) {
        std::string text;
        for (std::size_t i = 0; i < words; ++i)
            text += "word ";
        const TextSnapshot snapshot(text);
        return countsText(TextStatistics::count(snapshot, {Utf8Offset(0), snapshot.end()})).toStdString();
    };
    EXPECT_EQ(counted(0), "0 words");
    EXPECT_EQ(counted(1), "1 word");
    EXPECT_EQ(counted(12), "12 words");
    EXPECT_NE(counted(1'000).find(" min"), std::string::npos);
    EXPECT_EQ(counted(1'000).find("0 min"), std::string::npos);
}

TEST_F(StatusTextsTest, LineEndsIndentationAndEncodings)
{
    EditOptions options;
    options.lineEnd = "\r\n";
    for (const auto& [text, name] : {std::pair("", "CRLF"),
                                     {"a", "CRLF"},
                                     {"a\n", "LF"},
                                     {"a\r\nb\r\n", "CRLF"},
                                     {"a\rb", "CR"},
                                     {"a\nb\r\n", "Mixed"}}) {
        SCOPED_TRACE(text);
        EXPECT_EQ(lineEndText(TextSnapshot(std::string(text)), options).toStdString(), name);
    }
    options.lineEnd = "\n";
    EXPECT_EQ(lineEndText(TextSnapshot(), options).toStdString(), "LF");
    options.tabWidth = 8;
    options.indentWidth = 2;
    options.indentWithTabs = true;
    EXPECT_EQ(indentText(options).toStdString(), "Tabs: 8");
    options.indentWithTabs = false;
    EXPECT_EQ(indentText(options).toStdString(), "Blanks: 2");
    EXPECT_EQ(encodingName(RecoveryEncoding::utf8BOM).toStdString(), "UTF-8 with BOM");
    EXPECT_EQ(encodingName(RecoveryEncoding::utf16BE).toStdString(), "UTF-16 BE");
}

}  // namespace
}  // namespace penmark
