#include "platform/host/services/SimulatedStoreCatalogue.h"

#include "platform/foundation/Clock.h"
#include "platform/host/foundation/PlatformThreads.h"

namespace lumora::platform::host {

void SimulatedStoreCatalogue::reset()
{
    std::vector<std::shared_ptr<void>> cancelled;
    {
        std::lock_guard lock(mutex_);
        entries_.clear();
        delay_ = 0.0;
        failure_.reset();
        requests_.clear();
        cancelled.swap(pending_);
    }
}

void SimulatedStoreCatalogue::addEntry(const std::string& bundleID, const Entry& entry)
{
    auto properties = std::make_shared<Dictionary>();
    if (entry.displayName) {
        (*properties)[std::string(StoreLookupItem::DisplayNameProperty)] = Value(*entry.displayName);
    }
    if (entry.artistName) {
        (*properties)[std::string(StoreLookupItem::ArtistNameProperty)] = Value(*entry.artistName);
    }
    if (entry.genreNames) {
        auto genres = std::make_shared<Array>();
        for (const auto& genre : *entry.genreNames) {
            genres->emplace_back(genre);
        }
        (*properties)[std::string(StoreLookupItem::GenreNamesProperty)] = Value(genres);
    }
    if (entry.shortProductPageURL) {
        (*properties)[std::string(StoreLookupItem::ShortProductPageURLProperty)] = Value(*entry.shortProductPageURL);
    }
    addEntryWithProperties(bundleID, properties);
}

void SimulatedStoreCatalogue::addEntryWithProperties(const std::string& bundleID, DictionaryRef properties)
{
    std::lock_guard lock(mutex_);
    entries_[bundleID] = properties ? std::move(properties) : std::make_shared<const Dictionary>();
}

void SimulatedStoreCatalogue::removeEntry(const std::string& bundleID)
{
    std::lock_guard lock(mutex_);
    entries_.erase(bundleID);
}

void SimulatedStoreCatalogue::setResponseDelay(double seconds)
{
    std::lock_guard lock(mutex_);
    delay_ = seconds;
}

void SimulatedStoreCatalogue::setFailure(ErrorRef error)
{
    std::lock_guard lock(mutex_);
    failure_ = std::move(error);
}

std::vector<SimulatedStoreCatalogue::Request> SimulatedStoreCatalogue::requests() const
{
    std::lock_guard lock(mutex_);
    return requests_;
}

void SimulatedStoreCatalogue::answer(Request request, StoreLookupRequest::ResponseHandler handler)
{
    std::vector<std::shared_ptr<const StoreLookupItem>> items;
    ErrorRef failure;
    double delay = 0.0;
    {
        std::lock_guard lock(mutex_);
        if (const auto identifiers = request.bundleIdentifiers.array()) {
            for (const auto& identifier : *identifiers) {
                const auto* text = identifier.string();
                const auto found = text != nullptr ? entries_.find(*text) : entries_.end();
                if (found != entries_.end()) {
                    items.push_back(std::make_shared<const StoreLookupItem>(found->second));
                }
            }
        }
        failure = failure_;
        delay = delay_;
        requests_.push_back(std::move(request));
    }
    auto deliver = [items = std::move(items), failure, handler = std::move(handler)] {
        if (failure) {
            handler(nullptr, failure);
        } else {
            handler(std::make_shared<const StoreLookupResponse>(items), nullptr);
        }
    };
    if (delay <= 0.0) {
        postToPlatformThread(std::move(deliver));
        return;
    }
    auto timer = Clock::scheduleAfter(delay, [deliver = std::move(deliver)] { postToPlatformThread(deliver); });
    std::lock_guard lock(mutex_);
    pending_.push_back(std::move(timer));
}

} // namespace lumora::platform::host
