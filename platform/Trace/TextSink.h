#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "Rix/Export.h"
#include "Trace/Handle.h"

namespace Trace {

/// One message of an enabled level, on its way to the text sink. Valid during the sink's call only.
struct TextRecord {
    const Handle& handle;
    unsigned level;
    std::string_view function;
    std::string_view text;
    /// When it was written: nanoseconds since the epoch.
    std::int64_t timeNs;
};

/// Takes the messages of enabled levels. Called by the thread that traces, several at once if
/// several trace. It may itself trace. What it throws reaches the code that traced.
using TextSink = std::function<void(const TextRecord&)>;

/// Replaces the process's sink; an empty one stands for the default, which writes each message as
/// one line to standard error. A call that another thread has begun may still end in the old one.
/// Any thread.
RIX_EXPORT void textSinkIs(TextSink sink);

/// The line of a message: "TIME HANDLE/LEVEL FUNCTION | TEXT", the time in UTC with microseconds:
/// "2026-11-21T08:24:29.000042Z".
RIX_EXPORT std::string textLine(const TextRecord& record);

/// Gives a message to the sink, stamped with the present time.
RIX_EXPORT void writeText(const Handle& handle, unsigned level, std::string_view function,
                          std::string_view text);

}  // namespace Trace
