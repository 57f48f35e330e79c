// SPDX-License-Identifier: GPL-3.0-or-later
#include "search/TextSearchEngine.h"

#include "base/SystemError.h"
#include "search/TextSearchRun.h"

#include <stdexcept>
#include <utility>

namespace penmark {

TextSearchEngine::TextSearchEngine(RecoveryStore& store, Configuration configuration)
    : TextSearchEngine(std::move(configuration))
{
    store_ = &store;
}

TextSearchEngine::TextSearchEngine(Configuration configuration)
    : configuration_(std::move(configuration)), caches_(std::make_unique<Caches>(configuration_.indexFolder))
{}

TextSearchEngine::~TextSearchEngine() = default;

RecoveryStore& TextSearchEngine::store()
{
    if (store_ == nullptr)
        throw std::logic_error("searching a library that is not there");
    return *store_;
}

void TextSearchEngine::run(const TextSearchRequest& request, const std::stop_token& stop, const Publish& publish)
{
    caches_->sourceCache.beginRun();
    caches_->index.beginRun();
    TextSearchRun(*this, request, stop, publish).go();
}

void TextSearchEngine::recordFilters(const std::stop_token& stop)
{
    caches_->index.store(stop);
    FileTextReader reader;
    while (!stop.stop_requested()) {
        std::string path;
        {
            const std::scoped_lock hold(caches_->filesLock);
            if (caches_->unfiltered.empty())
                break;
            path = std::move(caches_->unfiltered.front());
            caches_->unfiltered.pop_front();
        }
        try {
            const FileTextReader::Result file = reader.read(path, searchSizeLimit(false), stop);
            if (file.kind != FileTextReader::Result::Kind::text || !file.key)
                continue;
            const TextKey key(*file.key);
            if (!caches_->index.knows(key) && !caches_->index.note(key, file.text, stop))
                break;
        } catch (const Cancelled&) {
            break;
        } catch (const std::exception&) {
            // It is searched the next time as it was this time.
        }
    }
    caches_->index.store(stop);
}

void TextSearchEngine::folderChanged(const std::string& folder)
{
    caches_->projectCatalog.forget(folder);
}

std::shared_ptr<const FolderScanner::Listing> TextSearchEngine::lastListing(const std::string& folder) const
{
    return caches_->projectCatalog.findAny(folder);
}

}  // namespace penmark
