// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/navigator/DocumentCatalog.h"

#include "app/navigator/TitleCollator.h"

#include <QPointer>
#include <QPromise>
#include <QThreadPool>
#include <QTimer>
#include <algorithm>
#include <utility>

namespace penmark {
namespace {

constexpr std::size_t fewEnough = 1000;      // to be worked out while the user waits: some milliseconds
constexpr std::size_t previewsAtOnce = 128;  // few enough that folding them is not felt

}  // namespace

/// What the background needs: copies, since the headers change meanwhile.
struct DocumentCatalog::Job {
    struct Missing {
        Place place;
        std::string title;
        std::string path;
    };
    static std::shared_ptr<const Keys> makeKeys(const QCollator& collator, const std::string& title,
                                                const std::string& path)
    {
        return std::make_shared<const Keys>(
            Keys{foldForFilter(title) + "\n" + foldForFilter(path), collator.sortKey(QString::fromStdString(title))});
    }
    static bool titleIsBefore(const Keys& one, const Keys& other, Place place, Place otherPlace)
    {
        const int compared = one.title.compare(other.title);
        return compared != 0 ? compared < 0 : place < otherPlace;
    }
    Result run();

    std::vector<Missing> missing;
    std::vector<std::shared_ptr<const Keys>> keys;  // of all; null where missing
    bool sorts = false;
    int generation = 0;
};

struct DocumentCatalog::Result {
    std::vector<std::pair<Place, std::shared_ptr<const Keys>>> keys;
    std::vector<Place> byTitle;
    int generation = 0;
};

DocumentCatalog::Result DocumentCatalog::Job::run()
{
    Result result;
    result.generation = generation;
    const QCollator collator = titleCollator();
    result.keys.reserve(missing.size());
    for (const Missing& each : missing) {
        keys[each.place] = makeKeys(collator, each.title, each.path);
        result.keys.emplace_back(each.place, keys[each.place]);
    }
    if (sorts) {
        result.byTitle.resize(keys.size());
        for (std::size_t i = 0; i < keys.size(); ++i)
            result.byTitle[i] = static_cast<Place>(i);
        std::sort(result.byTitle.begin(), result.byTitle.end(),
                  [this](Place one, Place other) { return titleIsBefore(*keys[one], *keys[other], one, other); });
    }
    return result;
}

DocumentCatalog::DocumentCatalog(DocumentHeaders& headers, QObject* parent) : QObject(parent), headers_(headers)
{
    connect(&headers_, &DocumentHeaders::loaded, this, &DocumentCatalog::readAll);
    connect(&headers_, &DocumentHeaders::added, this, &DocumentCatalog::add);
    connect(&headers_, &DocumentHeaders::changed, this, &DocumentCatalog::change);
    readAll();
}

DocumentCatalog::~DocumentCatalog() = default;

bool DocumentCatalog::isBefore(Place one, Place other) const
{
    const Entry& first = entries_[one];
    const Entry& second = entries_[other];
    if (order_ == Order::title)
        return Job::titleIsBefore(*first.keys, *second.keys, one, other);
    const double firstTime = order_ == Order::recent ? first.updatedAt : first.createdAt;
    const double secondTime = order_ == Order::recent ? second.updatedAt : second.createdAt;
    return firstTime != secondTime ? firstTime > secondTime : one > other;
}

void DocumentCatalog::setOrder(Order order)
{
    if (order == wantedOrder_)
        return;
    wantedOrder_ = order;
    ++generation_;
    want();
}

void DocumentCatalog::setFilter(const QString& typed)
{
    FilterWords words(typed);
    if (words == wantedWords_)
        return;
    wantedWords_ = std::move(words);
    want();
}

void DocumentCatalog::prepareFilter()
{
    prepares_ = true;
    want();
}

/// Goes where order and filter are wanted, at once if that is quick, and otherwise has a job prepare it.
void DocumentCatalog::want()
{
    const bool sorts = wantedOrder_ == Order::title && order_ != Order::title;
    std::vector<Place> missing;
    if (sorts || prepares_ || !wantedWords_.isEmpty())
        for (std::size_t i = 0; i < entries_.size(); ++i)
            if (!entries_[i].keys)
                missing.push_back(static_cast<Place>(i));
    const bool lacksKeys = missing.size() > fewEnough;
    if (lacksKeys || (sorts && entries_.size() > fewEnough)) {
        if (!watcher_)
            startJob(missing);
        // What does not need the job is not kept waiting by it.
        const bool filters = wantedWords_ != words_ && (wantedWords_.isEmpty() || !lacksKeys);
        const bool orders = wantedOrder_ != order_ && !sorts;
        if (orders)
            applyOrder(nullptr);
        if (filters)
            applyFilter();
        if (orders || filters)
            emit rearranged();
        return;
    }
    for (const Place place : missing)
        makeKeys(place);
    const bool isOther = wantedOrder_ != order_ || wantedWords_ != words_;
    if (wantedOrder_ != order_)
        applyOrder(nullptr);
    if (wantedWords_ != words_)
        applyFilter();
    if (isOther)
        emit rearranged();
}

void DocumentCatalog::startJob(const std::vector<Place>& missing)
{
    auto job = std::make_shared<Job>();
    job->sorts = wantedOrder_ == Order::title;
    job->generation = generation_;
    job->missing.reserve(missing.size());
    for (const Place place : missing)
        job->missing.push_back({place, header(place).title, header(place).path});
    job->keys.reserve(entries_.size());
    for (const Entry& entry : entries_)
        job->keys.push_back(entry.keys);
    changedSince_.clear();

    const auto promise = std::make_shared<QPromise<std::shared_ptr<Result>>>();
    watcher_ = new QFutureWatcher<std::shared_ptr<Result>>(this);
    connect(watcher_, &QFutureWatcherBase::finished, this, &DocumentCatalog::finishJob);
    watcher_->setFuture(promise->future());
    promise->start();
    QThreadPool::globalInstance()->start([job, promise] {
        promise->addResult(std::make_shared<Result>(job->run()));
        promise->finish();
    });
}

void DocumentCatalog::finishJob()
{
    const std::shared_ptr<Result> result = watcher_->result();
    watcher_->deleteLater();
    watcher_ = nullptr;
    std::sort(changedSince_.begin(), changedSince_.end());
    changedSince_.erase(std::unique(changedSince_.begin(), changedSince_.end()), changedSince_.end());
    const auto isChanged = [this](Place place) {
        return std::binary_search(changedSince_.begin(), changedSince_.end(), place);
    };
    for (auto& [place, keys] : result->keys)
        if (!entries_[place].keys && !isChanged(place))
            entries_[place].keys = std::move(keys);

    const bool isWanted = wantedOrder_ == Order::title && result->generation == generation_;
    if (isWanted && order_ != Order::title && !result->byTitle.empty() && changedSince_.size() <= fewEnough) {
        for (const Place place : changedSince_)
            makeKeys(place);
        std::erase_if(result->byTitle, isChanged);
        applyOrder(&result->byTitle);
        emit rearranged();
    }
    want();
}

void DocumentCatalog::makeKeys(Place place)
{
    if (!collator_)
        collator_ = titleCollator();
    entries_[place].keys = Job::makeKeys(*collator_, header(place).title, header(place).path);
}

void DocumentCatalog::insertOrdered(Place place)
{
    const auto at = std::lower_bound(ordered_.begin(), ordered_.end(), place,
                                     [this](Place one, Place other) { return isBefore(one, other); });
    ordered_.insert(at, place);
}

/// `byTitle` holds what a job has sorted: all but the documents that have changed since.
void DocumentCatalog::applyOrder(std::vector<Place>* byTitle)
{
    order_ = wantedOrder_;
    if (byTitle) {
        ordered_ = std::move(*byTitle);
        for (const Place place : changedSince_)
            insertOrdered(place);
        return;
    }
    ordered_.resize(entries_.size());
    for (std::size_t i = 0; i < ordered_.size(); ++i)
        ordered_[i] = static_cast<Place>(i);
    std::sort(ordered_.begin(), ordered_.end(), [this](Place one, Place other) { return isBefore(one, other); });
}

bool DocumentCatalog::matches(Place place) const
{
    const Entry& entry = entries_[place];
    return words_.isEmpty() || words_.match(entry.keys->folded, entry.preview);
}

void DocumentCatalog::applyFilter()
{
    words_ = wantedWords_;
    for (std::size_t i = 0; i < entries_.size(); ++i) {
        const auto place = static_cast<Place>(i);
        if (!words_.isEmpty() && !entries_[i].keys)
            makeKeys(place);
        entries_[i].isMatch = matches(place);
    }
    previewQueue_.clear();
    if (words_.isEmpty() || !source_)
        return;
    for (const bool deleted : {true, false})  // the queue is read from its end
        for (auto place = ordered_.rbegin(); place != ordered_.rend(); ++place) {
            const Entry& entry = entries_[*place];
            if (entry.previewState == Preview::unknown && !entry.isMatch && header(*place).deleted == deleted)
                previewQueue_.push_back(*place);
        }
    askPreviews();
}

void DocumentCatalog::readEntry(Place place)
{
    Entry& entry = entries_[place];
    const DocumentHeader& now = header(place);
    if (entry.updatedAt != now.updatedAt.seconds && entry.previewState == Preview::known)
        entry.previewState = Preview::unknown;  // what is known is better than nothing until it has been read again
    entry.updatedAt = now.updatedAt.seconds;
    entry.createdAt = now.createdAt.seconds;
    if (watcher_) {
        changedSince_.push_back(place);
        entry.keys.reset();
    }
    if (entry.keys || order_ == Order::title || !words_.isEmpty())
        makeKeys(place);
    entry.isMatch = matches(place);
    if (!words_.isEmpty() && !entry.isMatch && entry.previewState == Preview::unknown) {
        previewQueue_.push_back(place);
        askPreviews();
    }
}

void DocumentCatalog::readAll()
{
    const auto known = static_cast<Place>(entries_.size());
    entries_.resize(headers_.all().size());
    ordered_.clear();
    const Order order = std::exchange(order_, Order::recent);  // no keys yet; want() goes back to titles
    const FilterWords words = std::exchange(words_, {});
    for (Place place = known; place < entries_.size(); ++place)
        readEntry(place);
    ordered_.resize(entries_.size());
    for (std::size_t i = 0; i < ordered_.size(); ++i)
        ordered_[i] = static_cast<Place>(i);
    if (order != Order::title)
        order_ = order;
    std::sort(ordered_.begin(), ordered_.end(), [this](Place one, Place other) { return isBefore(one, other); });
    if (!words.isEmpty())
        for (Entry& entry : entries_)
            entry.isMatch = true;
    emit rearranged();
    want();
}

void DocumentCatalog::add(std::size_t index)
{
    const auto place = static_cast<Place>(index);
    entries_.emplace_back();
    readEntry(place);
    insertOrdered(place);
    emit changed(place);
}

void DocumentCatalog::change(std::size_t index)
{
    const auto place = static_cast<Place>(index);
    emit aboutToChange(place);
    const auto at = std::lower_bound(ordered_.begin(), ordered_.end(), place,
                                     [this](Place one, Place other) { return isBefore(one, other); });
    ordered_.erase(at);
    readEntry(place);
    insertOrdered(place);
    emit changed(place);
}

void DocumentCatalog::setPreviewSource(PreviewSource* source)
{
    source_ = source;
    previewQueue_.clear();
    if (!words_.isEmpty()) {
        applyFilter();
        emit rearranged();
    }
}

void DocumentCatalog::askPreviews()
{
    if (!source_ || previewsAsked_ || words_.isEmpty())
        return;
    std::vector<std::pair<Place, double>> asked;
    std::vector<Uuid> ids;
    while (!previewQueue_.empty() && ids.size() < previewsAtOnce) {
        const Place place = previewQueue_.back();
        previewQueue_.pop_back();
        Entry& entry = entries_[place];
        if (entry.previewState != Preview::unknown)
            continue;
        entry.previewState = Preview::asked;
        asked.emplace_back(place, entry.updatedAt);
        ids.push_back(header(place).id);
    }
    if (ids.empty())
        return;
    previewsAsked_ = true;
    // Through the event loop: a source that has the texts at hand must not nest one answer in another, and keys that
    // are typed come first.
    QTimer::singleShot(0, this, [this, asked = std::move(asked), ids = std::move(ids)] {
        const auto answer = [self = QPointer<DocumentCatalog>(this), asked](const std::vector<std::string>& texts) {
            if (self)
                self->takePreviews(asked, texts);
        };
        if (source_)
            source_->readPreviews(ids, answer);
        else
            takePreviews(asked, {});
    });
}

void DocumentCatalog::takePreviews(const std::vector<std::pair<Place, double>>& asked,
                                   const std::vector<std::string>& texts)
{
    previewsAsked_ = false;
    for (std::size_t i = 0; i < asked.size(); ++i) {
        const auto [place, updatedAt] = asked[i];
        Entry& entry = entries_[place];
        entry.previewState = Preview::unknown;
        if (i >= texts.size())
            continue;
        if (entry.updatedAt != updatedAt) {  // stored meanwhile: the text may be older than the document
            previewQueue_.push_back(place);
            continue;
        }
        std::string preview = foldForFilter(texts[i]);
        entry.previewState = Preview::known;
        if (preview == entry.preview)
            continue;
        emit aboutToChange(place);
        entry.preview = std::move(preview);
        entry.isMatch = words_.isEmpty() || matches(place);
        emit changed(place);
    }
    askPreviews();
}

}  // namespace penmark
