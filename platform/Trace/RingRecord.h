#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Trace/RingLayout.h"
#include "Trace/ValueKind.h"

namespace Trace {

/// One value of a decoded record. A plain value.
struct RingValue {
    ValueKind kind = ValueKind::text;
    /// The value's bytes; of a text, an interface's included, without the length before it.
    std::string bytes;
    /// Whether the record had no room for all of a text.
    bool isCut = false;

    /// The value as messages print it; a cut text ends in "...".
    std::string text() const;
};

/// One decoded record of a trace ring. A plain value.
struct RingRecord {
    /// From 1, in the order in which the records were begun.
    std::uint64_t number = 0;
    /// Nanoseconds since the epoch.
    std::int64_t timeNs = 0;
    /// The process's threads in the order in which they first traced, from 1.
    unsigned thread = 0;
    RecordType type = RecordType::message;
    std::string handle;
    /// 0..9; means nothing for blocks.
    unsigned level = 0;
    /// Of a block, the operation's full signature.
    std::string function;
    std::string format;
    /// The message's values. Fewer than the format asks for if the record had no room for them.
    std::vector<RingValue> values;
    /// Of a block's end: how long it took.
    std::uint64_t durationNs = 0;

    /// The message's text: the format with its values in place, "?" for each that is missing.
    std::string text() const;
};

}  // namespace Trace
