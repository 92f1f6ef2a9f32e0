#pragma once

#include "platform/foundation/Error.h"
#include "platform/foundation/Value.h"
#include "platform/system/StoreLookup.h"

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace lumora::platform::host {

/// The application store's catalogue as the device's store lookups see it:
/// entries by bundle identifier, how long an answer takes and whether lookups
/// fail. Initially the catalogue is empty (every lookup finds nothing), answers
/// come at once and nothing fails.
class SimulatedStoreCatalogue {
public:
    /// A catalogue entry; an absent field is a property the entry lacks.
    struct Entry {
        std::optional<std::string> displayName;
        std::optional<std::string> artistName;
        std::optional<std::vector<std::string>> genreNames;
        std::optional<std::string> shortProductPageURL;
    };

    /// A lookup as the catalogue received it.
    struct Request {
        std::string keyProfile;
        std::int64_t localizationStyle = 0;
        Value bundleIdentifiers;
    };

    void reset();

    void addEntry(const std::string& bundleID, const Entry& entry);
    /// An entry given as raw properties (`StoreLookupItem` names), so that the
    /// catalogue can answer with values of unexpected kinds.
    void addEntryWithProperties(const std::string& bundleID, DictionaryRef properties);
    void removeEntry(const std::string& bundleID);

    /// Answers come `seconds` after the lookup on the device clock (0: at
    /// once), each then delivered on a platform thread.
    void setResponseDelay(double seconds);
    /// Makes every lookup fail with `error` and no response (null: lookups succeed).
    void setFailure(ErrorRef error);

    /// Every lookup started since the last reset, in order.
    [[nodiscard]] std::vector<Request> requests() const;

    /// Answers a lookup that was just started (the store lookup role calls this).
    void answer(Request request, StoreLookupRequest::ResponseHandler handler);

private:
    mutable std::mutex mutex_;
    std::map<std::string, DictionaryRef> entries_;
    double delay_ = 0.0;
    ErrorRef failure_;
    std::vector<Request> requests_;
    // Delayed answers not yet due; dropping them (at reset) cancels them.
    std::vector<std::shared_ptr<void>> pending_;
};

} // namespace lumora::platform::host
