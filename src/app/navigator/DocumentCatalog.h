// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/documents/DocumentHeaders.h"
#include "app/navigator/FilterWords.h"
#include "app/navigator/PreviewSource.h"

#include <QCollator>
#include <QFutureWatcher>
#include <QObject>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace penmark {

/// All documents in one order and against one filter: what the sections that list documents have in common. Documents
/// are named by their place among the headers.
///
/// What is compared is worked out once for each document: of few at once, of many in the background. Until that has
/// come, order and filter stay as they were. Main thread.
class DocumentCatalog final : public QObject {
    Q_OBJECT

public:
    using Place = std::uint32_t;
    enum class Order { recent, title, created };

    /// The headers outlive the catalog.
    explicit DocumentCatalog(DocumentHeaders& headers, QObject* parent = nullptr);
    ~DocumentCatalog() override;

    const DocumentHeaders& headers() const { return headers_; }
    const DocumentHeader& header(Place place) const { return headers_.all()[place]; }

    Order order() const { return wantedOrder_; }
    void setOrder(Order order);
    void setFilter(const QString& typed);
    /// What the rows are filtered by now.
    const FilterWords& words() const { return words_; }
    /// Works out in advance what a filter needs.
    void prepareFilter();

    /// Null for none. It outlives the catalog or is taken away before.
    void setPreviewSource(PreviewSource* source);

    /// All of them, in order.
    const std::vector<Place>& ordered() const { return ordered_; }
    bool isBefore(Place one, Place other) const;
    bool isMatch(Place place) const { return entries_[place].isMatch; }

    /// Something is being worked out in the background, and the rows will follow.
    bool isWaiting() const { return wantedOrder_ != order_ || wantedWords_ != words_; }

signals:
    void rearranged();                        ///< any document may be anywhere
    void aboutToChange(std::uint32_t place);  ///< asks for where it is
    void changed(std::uint32_t place);        ///< it may be elsewhere, or new

private:
    struct Keys {
        std::string folded;  // title and path, a line each
        QCollatorSortKey title;
    };
    enum class Preview : std::uint8_t { unknown, asked, known };
    struct Entry {
        double updatedAt = 0;
        double createdAt = 0;
        std::shared_ptr<const Keys> keys;  // null while nothing needs them
        std::string preview;               // folded
        Preview previewState = Preview::unknown;
        bool isMatch = true;
    };
    struct Job;
    struct Result;

    void readAll();
    void add(std::size_t index);
    void change(std::size_t index);
    void readEntry(Place place);
    bool matches(Place place) const;

    void want();
    void startJob(const std::vector<Place>& missing);
    void finishJob();
    void makeKeys(Place place);
    void insertOrdered(Place place);
    void applyOrder(std::vector<Place>* byTitle);
    void applyFilter();

    void askPreviews();
    void takePreviews(const std::vector<std::pair<Place, double>>& asked, const std::vector<std::string>& texts);

    DocumentHeaders& headers_;
    std::vector<Entry> entries_;
    std::vector<Place> ordered_;
    Order order_ = Order::recent;
    Order wantedOrder_ = Order::recent;
    FilterWords words_;
    FilterWords wantedWords_;
    bool prepares_ = false;

    std::optional<QCollator> collator_;
    QFutureWatcher<std::shared_ptr<Result>>* watcher_ = nullptr;
    std::vector<Place> changedSince_;  // behind the back of the job that runs
    int generation_ = 0;               // of the order that is wanted

    PreviewSource* source_ = nullptr;
    std::vector<Place> previewQueue_;  // the next one last
    bool previewsAsked_ = false;
};

}  // namespace penmark
