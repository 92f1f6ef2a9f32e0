#pragma once

#include <string>

namespace lumora::sample {

/// What an application does with the framework's support services: keeping
/// its recordings folder tidy and looking its own (or another) app up in the
/// store. Each step narrates what it sees.

/// Makes the recordings folder (if needed) and reports its size and whether
/// there is room for another recording.
void prepareRecordingsFolder();
/// Lists the folder's entries with their ages.
void listRecordings();
/// Deletes recordings older than `timeToLive` seconds.
void ageOutRecordings(double timeToLive);
/// Deletes the recordings whose names begin with `prefix` (ignoring case and accents).
void removeRecordingsWithPrefix(const std::string& prefix);
/// Moves one recording out of the folder to `destination` (a path) and titles
/// it with its creation date.
void keepRecording(const std::string& name, const std::string& destination);
/// Looks an application up in the store and prints what came back.
void showStoreDetails(const std::string& bundleID);

} // namespace lumora::sample
