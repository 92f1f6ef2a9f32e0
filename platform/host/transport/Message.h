#pragma once

#include "platform/foundation/Value.h"

#include <cstdint>
#include <string>
#include <vector>

namespace lumora::platform::host::transport {

/// One message between two processes: an operation's name (its selector,
/// with colons), a number and the arguments. A request wants an answer: the
/// reply carries the request's number and selector. A call is one-way.
///
/// Arguments are numbers, booleans, strings, data, dates, URLs, errors,
/// arrays, dictionaries, null, and `FileHandle`s, whose descriptors travel
/// beside the message's bytes.
struct Message {
    enum class Kind : std::uint8_t { Request = 0, Reply = 1, Call = 2 };

    Kind kind = Kind::Call;
    std::uint64_t number = 0;
    std::string selector;
    std::vector<Value> arguments;
};

} // namespace lumora::platform::host::transport
