// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/history/VersionModel.h"

#include "app/history/VersionDates.h"

#include <QSignalSpy>

#include <gtest/gtest.h>

namespace penmark {
namespace {

constexpr double day = 86'400;
constexpr double noon = 9'000 * day + day / 2;  // some day; whatever the time zone, hours around it are on one day

class VersionModelTest : public testing::Test {
protected:
    DocumentHistoryEntry version(double at, const std::string& hash = "hash")
    {
        DocumentHistoryEntry entry;
        entry.revision.id = Uuid::random();
        entry.revision.createdAt = Date{at};
        entry.revision.contentHash = hash;
        return entry;
    }
    static CheckpointHeader checkpoint(std::optional<std::string> name, bool isOfDocument, bool pinned)
    {
        CheckpointHeader header{Uuid::random(), Date{noon}, pinned, std::move(name), {}};
        if (isOfDocument)
            header.document = Uuid::random();
        return header;
    }
    /// "[Today] 1 2 [Yesterday] 3 <Load Earlier Versions>", by the numbers of hashes.
    std::string dump() const
    {
        std::string all;
        for (int at = 0; at < model.rowCount(); ++at) {
            const VersionRow& row = model.row(model.index(at));
            const std::string title = row.title.toStdString();
            all += all.empty() ? "" : " ";
            all += row.kind == VersionRow::Kind::version ? row.version->revision.contentHash
                   : row.kind == VersionRow::Kind::day   ? "[" + title + "]"
                                                         : "<" + title + ">";
        }
        return all;
    }
    std::string spoken(int row) const
    {
        return model.data(model.index(row), Qt::AccessibleTextRole).toString().toStdString();
    }

    VersionModel model{[] { return Date{noon}; }};
};

TEST_F(VersionModelTest, VersionsStandBelowTheirDaysAndPagesBehindOneAnother)
{
    EXPECT_EQ(dump(), "");
    model.setVersions({{version(noon, "1"), version(noon - 10, "2")}, true, {}});
    EXPECT_EQ(dump(), "[Today] 1 2 <Load Earlier Versions>");

    const DocumentHistoryEntry known = *model.versionAt(1);
    model.append({{known, version(noon - 20, "3"), version(noon - day, "4")}, true, {"One version is damaged."}});
    EXPECT_EQ(dump(), "[Today] 1 2 3 [Yesterday] 4 <One version is damaged.> <Load Earlier Versions>");
    model.append({{version(noon - 300 * day, "5")}, false, {}});
    const std::string then = dayHeading(localDay(Date{noon - 300 * day}), localDay(Date{noon})).toStdString();
    EXPECT_EQ(dump(), "[Today] 1 2 3 [Yesterday] 4 [" + then + "] 5 <One version is damaged.>");
    EXPECT_FALSE(then.empty());
    EXPECT_EQ(model.before(known.revision.id)->revision.contentHash, "3");
    EXPECT_EQ(model.before(model.versionAt(4)->revision.id), nullptr);

    for (int row = 0; row < model.rowCount(); ++row) {
        const bool isVersion = model.row(model.index(row)).kind == VersionRow::Kind::version;
        EXPECT_EQ(model.flags(model.index(row)).testFlag(Qt::ItemIsSelectable), isVersion) << row;
    }
}

TEST_F(VersionModelTest, NewVersionsLeaveTheOthersInTheirPlaces)
{
    model.setVersions({{version(noon, "1"), version(noon - day, "2"), version(noon - day - 5, "3")}, true, {}});
    const QPersistentModelIndex two(model.indexOf(model.versionAt(1)->revision.id));
    const QPersistentModelIndex three(model.indexOf(model.versionAt(2)->revision.id));
    QSignalSpy resets(&model, &QAbstractItemModel::modelReset);

    DocumentHistoryPage page{{version(noon + 5, "0")}, true, {}};
    for (std::size_t each = 0; each < 3; ++each)
        page.entries.push_back(*model.versionAt(each));
    page.entries[2].checkpoints.push_back(checkpoint({}, false, false));
    model.setVersions(page);
    EXPECT_EQ(dump(), "[Today] 0 1 [Yesterday] 2 3 <Load Earlier Versions>");
    EXPECT_EQ(model.version(two)->revision.contentHash, "2");
    EXPECT_EQ(model.version(two)->checkpoints.size(), 1U) << "not as it was before";
    EXPECT_EQ(resets.count(), 0);

    page.entries.erase(page.entries.begin() + 2);
    page.hasEarlier = false;
    model.setVersions(page);
    EXPECT_EQ(dump(), "[Today] 0 1 [Yesterday] 3");
    EXPECT_FALSE(two.isValid());
    EXPECT_EQ(model.version(three)->revision.contentHash, "3");
}

TEST_F(VersionModelTest, SaysWhatIsKnownOfAVersion)
{
    DocumentHistoryEntry first = version(noon, "long");
    DocumentHistoryEntry second = version(noon - 60, "short");
    first.checkpoints = {checkpoint({}, false, false), checkpoint({}, false, false),
                         checkpoint("Before the rewrite", true, true), checkpoint({}, true, true)};
    first.revision.deviceID = Uuid::random();
    model.setVersions({{first, second}, false, {}});
    const std::string time = timeOfDay(Date{noon}).toStdString();
    EXPECT_EQ(spoken(1), time + ", kept by Before the rewrite, Document checkpoint, +1");
    model.setOwnDevice(second.revision.deviceID);
    model.addSizes({{"long", 5'000}, {"short", 3'000}});
    model.setHead(first.revision.id, true);
    EXPECT_EQ(spoken(1), time + ", Current text, 4.9 KiB · +2.0 KiB · Another computer, "
                                "kept by Before the rewrite, Document checkpoint, +1");
    EXPECT_EQ(spoken(2), timeOfDay(Date{noon - 60}).toStdString() + ", 2.9 KiB");
    model.setHead(first.revision.id, false);
    EXPECT_NE(spoken(1).find("Last stored"), std::string::npos);
}

TEST_F(VersionModelTest, ADocumentWithoutVersionsSaysWhenThereWillBeOne)
{
    model.setVersions({{}, false, {}});
    EXPECT_EQ(dump(), "<No versions yet. A version is kept each time the text is stored.>");
    model.setVersions({{version(noon, "1")}, false, {}});
    EXPECT_EQ(dump(), "[Today] 1");
}

}  // namespace
}  // namespace penmark
