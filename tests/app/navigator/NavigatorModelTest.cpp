// SPDX-License-Identifier: GPL-3.0-or-later
#include "CpuTime.h"
#include "app/navigator/DraggedRows.h"
#include "app/navigator/SomeDocuments.h"

#include <QAbstractItemModelTester>
#include <QDir>
#include <QMimeData>
#include <QSignalSpy>
#include <QTest>
#include <algorithm>
#include <memory>
#include <random>

#include <gtest/gtest.h>

namespace penmark {
namespace {

bool settle(NavigatorModel& model)
{
    return QTest::qWaitFor([&] { return !model.documents().isWaiting(); }, 20'000);
}

/// What a section must list, worked out anew from all headers. Titles are a word and a number, in lower case.
std::string expected(const DocumentHeaders& headers, SectionNumber section, DocumentCatalog::Order order,
                     const std::string& filter)
{
    std::vector<std::size_t> places;
    for (std::size_t i = 0; i < headers.all().size(); ++i) {
        const DocumentHeader& each = headers.all()[i];
        const bool belongs = each.deleted == (section == discarded) && (section != drafts || each.path.empty());
        const bool isMatch =
            each.title.find(filter) != std::string::npos || each.path.find(filter) != std::string::npos;
        if (belongs && isMatch)
            places.push_back(i);
    }
    const auto titleKey = [&](std::size_t place) {
        const std::string& title = headers.all()[place].title;
        const std::size_t space = title.find(' ');
        return std::pair(title.substr(0, space), std::stoi(title.substr(space + 1)));
    };
    std::sort(places.begin(), places.end(), [&](std::size_t one, std::size_t other) {
        const DocumentHeader& first = headers.all()[one];
        const DocumentHeader& second = headers.all()[other];
        if (order == DocumentCatalog::Order::title)
            return std::pair(titleKey(one), one) < std::pair(titleKey(other), other);
        if (order == DocumentCatalog::Order::created)
            return std::pair(first.createdAt, one) > std::pair(second.createdAt, other);
        return std::pair(first.updatedAt, one) > std::pair(second.updatedAt, other);
    });
    std::string list;
    for (const std::size_t place : places)
        list += (list.empty() ? "" : ", ") + headers.all()[place].title;
    return list;
}

class RandomChanges {
public:
    explicit RandomChanges(int documents)
    {
        std::vector<DocumentHeader> all;
        for (; number_ < documents; ++number_)
            all.push_back(made(number_));
        headers.adopt(std::move(all));
    }

    DocumentHeader made(int number)
    {
        static const char* const words[] = {"alpha", "beta", "delta", "gamma", "lambda"};
        DocumentHeader each = header(number, std::string(words[roll(5)]) + " " + std::to_string(roll(1000)),
                                     roll(2) ? "/notes/" + std::string(words[roll(5)]) : std::string());
        each.createdAt = {roll(50) * 1.0};  // so that some are the same
        each.updatedAt = {roll(50) * 1.0};
        each.deleted = roll(5) == 0;
        return each;
    }
    /// A new document, another state of one, or the same again.
    void put()
    {
        if (roll(4) == 0)
            headers.put(made(number_++));
        else if (const int number = roll(number_); roll(3))
            headers.put(made(number));
        else {
            DocumentHeader stored = *headers.find(numbered(number));
            stored.updatedAt = {100.0 + clock_++};
            headers.put(stored);
        }
    }
    int roll(int below) { return std::uniform_int_distribution<int>(0, below - 1)(random_); }

    DocumentHeaders headers;

private:
    std::mt19937 random_{20260314};
    int number_ = 0;
    int clock_ = 0;
};

// A few documents are worked out at once; of many, the keys come from the background while documents go on changing.
TEST(NavigatorModel, ListsWhatASlowOneWould)
{
    for (const int documents : {40, 3000}) {
        SCOPED_TRACE(documents);
        RandomChanges changes(documents);
        NavigatorModel model(changes.headers);
        const QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
        const std::string filters[] = {"", "a", "lta", "beta", "notes", "7", "", "nothing"};
        std::string filter;
        auto order = DocumentCatalog::Order::recent;
        for (int round = 0; round < 120; ++round) {
            switch (changes.roll(4)) {
            case 0:
                filter = filters[changes.roll(8)];
                model.documents().setFilter(QString::fromStdString(filter));
                break;
            case 1:
                order = static_cast<DocumentCatalog::Order>(changes.roll(3));
                model.documents().setOrder(order);
                break;
            default:
                break;
            }
            for (int put = 0; put < 5; ++put)
                changes.put();
            if (documents > 1000 && round % 10 != 0)
                continue;  // so that jobs run into one another
            ASSERT_TRUE(settle(model));
            for (const SectionNumber section : {drafts, recent, discarded}) {
                SCOPED_TRACE("round " + std::to_string(round) + ", section " + std::to_string(section));
                ASSERT_EQ(dump(model.section(section)), expected(changes.headers, section, order, filter));
            }
        }
    }
}

TEST(NavigatorModel, TakesNoKeysOfTitlesThatAreGone)
{
    for (const bool sorts : {false, true}) {
        SCOPED_TRACE(sorts);
        RandomChanges changes(3000);
        changes.headers.put(header(1, "zebra 1"));
        NavigatorModel model(changes.headers);
        if (sorts)
            model.documents().setOrder(DocumentCatalog::Order::title);
        model.documents().setFilter(QStringLiteral("zebra"));
        ASSERT_TRUE(model.documents().isWaiting()) << "in the background";
        changes.headers.put(header(1, "lion 1"));
        changes.headers.put(header(2, "zebra 2"));
        ASSERT_TRUE(settle(model));
        EXPECT_EQ(dump(model.section(recent)), "zebra 2");
    }
}

TEST(NavigatorModel, MovesOneRowWhenADocumentIsStored)
{
    DocumentHeaders headers;
    headers.adopt({header(0, "oldest"), header(1, "middle"), header(2, "newest")});
    NavigatorModel model(headers);
    const QPersistentModelIndex oldest(indexIn(model, recent, 2));
    QSignalSpy moved(&model, &QAbstractItemModel::rowsMoved);
    QSignalSpy inserted(&model, &QAbstractItemModel::rowsInserted);
    QSignalSpy removed(&model, &QAbstractItemModel::rowsRemoved);
    QSignalSpy layouts(&model, &QAbstractItemModel::layoutChanged);
    QSignalSpy resets(&model, &QAbstractItemModel::modelReset);

    DocumentHeader stored = headers.all()[0];
    stored.updatedAt = {10'000};
    headers.put(stored);
    EXPECT_EQ(dump(model.section(recent)), "oldest, newest, middle");
    EXPECT_EQ(oldest.row(), 0) << "an index follows its document";
    EXPECT_EQ(moved.count(), 2) << "in Drafts and in Recent";

    stored.updatedAt = {20'000};  // on top already
    headers.put(stored);
    EXPECT_EQ(moved.count(), 2);
    EXPECT_EQ(inserted.count() + removed.count() + layouts.count() + resets.count(), 0);
}

TEST(NavigatorModel, ListsOpenDocumentsInTheOrderOfTabs)
{
    DocumentHeaders headers;
    headers.adopt({header(0, "a"), header(1, "b"), header(2, "c")});
    NavigatorModel model(headers);
    model.setOpenHere({numbered(2), numbered(7), numbered(0)});
    EXPECT_EQ(dump(model.section(openHere)), "c, a");
    headers.put(header(7, "late"));
    EXPECT_EQ(dump(model.section(openHere)), "c, late, a");
    model.documents().setFilter(QStringLiteral("a"));
    EXPECT_EQ(dump(model.section(openHere)), "late, a");
    model.documents().setFilter({});
    model.setOpenHere({numbered(0), numbered(2)});
    EXPECT_EQ(dump(model.section(openHere)), "a, c");
}

TEST(NavigatorModel, SaysWhyThereAreNoDrafts)
{
    DocumentHeaders headers;
    NavigatorModel model(headers);
    const QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    EXPECT_EQ(dump(model.section(drafts)), "") << "not known yet";
    headers.adopt({header(0, "bound", "/a/b.md")});
    const std::string message = "(Nothing here. Ctrl+N starts a draft; it is kept without a file.)";
    EXPECT_EQ(dump(model.section(drafts)), message);
    EXPECT_EQ(model.section(drafts).count(), 0);
    EXPECT_FALSE(model.document(indexIn(model, drafts, 0)));
    headers.put(header(1, "draft"));
    EXPECT_EQ(dump(model.section(drafts)), "draft");
    headers.put(header(1, "draft", "/a/saved.md"));
    EXPECT_EQ(dump(model.section(drafts)), message);
    model.documents().setFilter(QStringLiteral("bound"));
    EXPECT_EQ(dump(model.section(drafts)), "");
}

TEST(NavigatorModel, TellsInWordsWhatIsDrawn)
{
    DocumentHeaders headers;
    DocumentHeader one = header(0, "One <b>", QDir::homePath().toStdString() + "/Notes/2026/one.md");
    one.fileDiffers = true;
    DocumentHeader two = header(1, "Two", "/etc/two");
    two.missingOriginal = true;
    headers.adopt({one, two, header(2, "Three"), header(3, "Root", "/root.md")});
    NavigatorModel model(headers);
    model.setCurrent(numbered(0));
    const auto spoken = [&](int row) {
        return model.data(indexIn(model, recent, row), Qt::AccessibleTextRole).toString().toStdString();
    };
    EXPECT_EQ(spoken(3), "One <b>, in front, ~/Notes/2026, 1 Jan 2001, The file differs from the document");
    EXPECT_EQ(spoken(2), "Two, /etc, 1 Jan 2001, The file is missing");
    EXPECT_EQ(spoken(1), "Three, Draft, 1 Jan 2001");
    EXPECT_EQ(spoken(0), "Root, /, 1 Jan 2001");
    EXPECT_TRUE(model.data(indexIn(model, recent, 3), Qt::ToolTipRole).toString().contains(QLatin1String("&lt;b&gt;")));
    EXPECT_EQ(model.data(model.index(drafts, 0), Qt::AccessibleTextRole), QStringLiteral("Drafts, 1 document"));
    EXPECT_EQ(model.data(model.index(recent, 0), Qt::AccessibleTextRole), QStringLiteral("Recent, 4 documents"));
    model.documents().setOrder(DocumentCatalog::Order::title);
    EXPECT_EQ(model.data(model.index(recent, 0), Qt::DisplayRole), QStringLiteral("All Documents"));

    QModelIndexList rows{model.index(recent, 0), indexIn(model, recent, 0), indexIn(model, recent, 1),
                         indexIn(model, drafts, 0)};
    const std::unique_ptr<QMimeData> dragged(model.mimeData(rows));
    ASSERT_TRUE(dragged);
    ASSERT_TRUE(dragged->hasFormat(QStringLiteral("application/x-penmark-documents")));
    EXPECT_EQ(DraggedRows::read(*dragged).documents, (std::vector{numbered(0), numbered(3), numbered(2)})) << "once";
}

// A document that is stored goes to the end of its table, so that all are read in another order the next time.
TEST(NavigatorModel, HeadersThatAreReadAgainKeepTheirPlaces)
{
    DocumentHeaders headers;
    headers.put(header(2, "plum"));  // open in a window
    NavigatorModel model(headers);
    const auto rows = [&](const char* filter) {
        model.documents().setFilter(QString::fromUtf8(filter));
        QTest::qWait(1);
        return dump(model.section(recent));
    };
    headers.adopt({header(0, "apple"), header(1, "pear"), header(2, "plum of before")});
    EXPECT_EQ(rows(""), "plum, pear, apple");
    EXPECT_EQ(rows("apple"), "apple");
    headers.adopt({header(1, "pear"), header(2, "plum"), header(3, "copy"), header(0, "apple")});
    EXPECT_EQ(rows("apple"), "apple");
    EXPECT_EQ(rows(""), "copy, plum, pear, apple");
}

class NavigatorPreviews : public testing::Test {
protected:
    NavigatorPreviews()
    {
        headers.adopt({header(0, "apple"), header(1, "pear"), header(2, "plum")});
        model = std::make_unique<NavigatorModel>(headers);
        model->documents().setPreviewSource(&source);
    }
    void filter(const char* typed)
    {
        model->documents().setFilter(QString::fromUtf8(typed));
        QTest::qWait(1);
    }
    void answer(std::size_t request, std::vector<std::string> texts)
    {
        source.requests.at(request).answer(std::move(texts));
        QTest::qWait(1);
    }
    std::string listed() const { return dump(model->section(recent)); }

    DocumentHeaders headers;
    HeldPreviews source;
    std::unique_ptr<NavigatorModel> model;
};

TEST_F(NavigatorPreviews, AddRowsAsTheyCome)
{
    QTest::qWait(1);
    EXPECT_TRUE(source.requests.empty()) << "nothing is typed";
    filter("pe");
    EXPECT_EQ(listed(), "pear");
    ASSERT_EQ(source.requests.size(), 1u);
    EXPECT_EQ(source.requests[0].ids, (std::vector{numbered(2), numbered(0)})) << "newest first; pear is found anyway";
    answer(0, {"a plum", "OPÉRA"});
    EXPECT_EQ(listed(), "pear, apple");
    filter("pe pear");
    EXPECT_EQ(listed(), "pear") << "words of the title and the text count together";
    filter("opera apple");
    EXPECT_EQ(listed(), "apple");
    EXPECT_EQ(source.requests.size(), 2u) << "only pear was not known yet";
    filter("");
    EXPECT_EQ(listed(), "plum, pear, apple");
}

TEST_F(NavigatorPreviews, CountForTheFilterThatIsThereWhenTheyCome)
{
    filter("zebra");
    filter("lion");
    ASSERT_EQ(source.requests.size(), 1u) << "one at a time";
    EXPECT_EQ(listed(), "");
    answer(0, {"zebra", "lion", "neither"});
    EXPECT_EQ(listed(), "pear");
    filter("zebra");
    EXPECT_EQ(listed(), "plum") << "kept";
    EXPECT_EQ(source.requests.size(), 1u);
}

TEST_F(NavigatorPreviews, MayComeWhenTheFilterIsGone)
{
    filter("zebra");
    filter("");
    answer(0, {"zebra", "zebra", ""});
    EXPECT_EQ(listed(), "plum, pear, apple");
    EXPECT_EQ(source.requests.size(), 1u);
}

TEST_F(NavigatorPreviews, AreReadAgainOfADocumentStoredMeanwhile)
{
    filter("zebra");
    DocumentHeader stored = headers.all()[0];
    stored.updatedAt = {9000};
    headers.put(stored);
    answer(0, {"", "", "zebra before it was stored"});
    EXPECT_EQ(listed(), "");
    ASSERT_EQ(source.requests.size(), 2u);
    EXPECT_EQ(source.requests[1].ids, std::vector{numbered(0)});
    answer(1, {"zebra still"});
    EXPECT_EQ(listed(), "apple");
    stored.updatedAt = {9500};
    headers.put(stored);
    EXPECT_EQ(listed(), "apple") << "until it is known better";
}

TEST_F(NavigatorPreviews, ThatCannotBeReadAreNotAskedForEver)
{
    filter("zebra");
    answer(0, {});
    EXPECT_EQ(source.requests.size(), 1u);
    filter("zebr");
    EXPECT_EQ(source.requests.size(), 2u) << "another filter is another try";
}

TEST_F(NavigatorPreviews, MayOutliveTheModel)
{
    filter("zebra");
    model.reset();
    answer(0, {"zebra", "", ""});
}

TEST(NavigatorPreviewBatches, CoverAllDocuments)
{
    DocumentHeaders headers;
    std::vector<DocumentHeader> all;
    for (int number = 0; number < 500; ++number)
        all.push_back(header(number, "title"));
    headers.adopt(std::move(all));
    HeldPreviews source;
    NavigatorModel model(headers);
    model.documents().setPreviewSource(&source);
    model.documents().setFilter(QStringLiteral("zebra"));
    std::size_t asked = 0;
    for (std::size_t next = 0; asked < 500; ++next) {
        ASSERT_TRUE(QTest::qWaitFor([&] { return source.requests.size() > next; }, 60'000)) << asked;
        EXPECT_LT(source.requests[next].ids.size(), 300u) << "a batch";
        asked += source.requests[next].ids.size();
        source.requests[next].answer(std::vector<std::string>(source.requests[next].ids.size(), "a zebra"));
        EXPECT_EQ(model.section(recent).count(), static_cast<int>(asked));
    }
}

TEST(NavigatorModel, StaysQuickWithAHundredThousandDocuments)
{
    std::vector<DocumentHeader> all;
    for (int number = 0; number < 100'000; ++number)
        all.push_back(
            header(number, "Überlegung " + std::to_string(number * 7919 % 100'000), "/home/a/Notes/a b c.md"));
    DocumentHeaders headers;
    headers.adopt(std::move(all));
    NavigatorModel model(headers);
    const auto expectQuick = [&](const char* what, double limit, auto run) {
        const auto begin = cpuTime();
        run();
        EXPECT_LT((cpuTime() - begin).count(), granted(limit)) << what;
        ASSERT_TRUE(settle(model)) << what;
    };
    const auto order = [&](DocumentCatalog::Order to) { return [&model, to] { model.documents().setOrder(to); }; };
    const auto filter = [&](const char* to) {
        return [&model, to] { model.documents().setFilter(QString::fromUtf8(to)); };
    };
    expectQuick("the first filter only starts the background", 0.02, filter("uberlegung 77"));
    EXPECT_GT(model.section(recent).count(), 100);
    expectQuick("filter", 0.03, filter("77 notes"));
    expectQuick("no filter", 0.03, filter(""));
    expectQuick("by title", 0.03, order(DocumentCatalog::Order::title));
    EXPECT_EQ(model.section(recent).row(41).title.toStdString(), "Überlegung 41");
    expectQuick("by creation", 0.03, order(DocumentCatalog::Order::created));
    expectQuick("by change", 0.03, order(DocumentCatalog::Order::recent));
    expectQuick("a hundred stored", 0.03, [&] {
        for (std::size_t place = 0; place < 100; ++place) {
            DocumentHeader stored = headers.all()[place * 997];
            stored.updatedAt = {1e9 + static_cast<double>(place)};
            headers.put(stored);
        }
    });
}

}  // namespace
}  // namespace penmark
