// What code traces with.
//
//   Trace::Handle& handle = Trace::Handle::get("Pim::MembershipJoinStatusSm");
//   TRACE_BLOCK(handle, "void Sm::handleInclude(VlanId)");
//   TRACE(handle, 8, "handleInclude", "handleInclude: No vrfName for vlanId {}", vlanId);
//
// TRACE writes the ring always, and text where the level is enabled; each argument is evaluated
// once. TRACE_TEXT writes text alone and evaluates no argument of a level that is not enabled.
// Level, function and format are literals; each {} takes the next argument. What can be an argument
// is in ValueTraits.h. A place always traces to the same handle. Any thread may trace.
//
// A level says what a message is about, the same in every handle:
//   0, 1  errors and warnings; none so far, since errors are raised
//   2     a mapping between VLANs and VRFs changed, and what is refreshed for it
//   3     something else that was followed changed: a VLAN, an interface, a role
//   4     free
//   5     something that was followed goes, with what depends on it
//   6     free
//   7     what is written to a table and deleted from it, and under which key
//   8     decisions: why something is written, kept or deleted
//   9     changes that were looked at and lead to nothing
// Which of them are written as text is chosen by handle, and by what the messages name: Handle.h.
#pragma once

#include <array>
#include <string_view>

#include "Trace/Block.h"
#include "Trace/Clock.h"
#include "Trace/Format.h"
#include "Trace/Handle.h"
#include "Trace/RecordBuffer.h"
#include "Trace/Ring.h"
#include "Trace/Site.h"
#include "Trace/TextSink.h"
#include "Trace/ValueTraits.h"

namespace Trace {

/// The text of TRACE and TRACE_TEXT; use those.
template <Traceable... Args>
void text(const Handle& handle, unsigned level, std::string_view function,
          FormatFor<Args...> format, const Args&... args) {
    if (handle.takes(args...))
        writeText(handle, level, function, formatted(format.text(), args...));
}

/// A message of TRACE; use that.
template <Traceable... Args>
void message(Site& site, const Handle& handle, FormatFor<Args...> format, const Args&... args) {
    static constexpr std::array<ValueKind, sizeof...(Args)> kinds{ValueTraits<Args>::kind...};
    RecordBuffer record;
    (ValueTraits<Args>::encode(record, args), ...);
    Ring::current().write(RecordType::message, site.number(handle, kinds), wallClockNs(), record);
    if (handle.isEnabled(site.level())) [[unlikely]] {
        text(handle, site.level(), site.function(), format, args...);
    }
}

/// A message of TRACE_AS; use that.
template <Traceable... Args>
void messageAs(Site& site, const Handle& handle, std::string_view function,
               FormatFor<Args...> format, const Args&... args) {
    static constexpr std::array<ValueKind, 1 + sizeof...(Args)> kinds{ValueKind::function,
                                                                      ValueTraits<Args>::kind...};
    RecordBuffer record;
    record.addText(function);
    (ValueTraits<Args>::encode(record, args), ...);
    Ring::current().write(RecordType::message, site.number(handle, kinds), wallClockNs(), record);
    if (handle.isEnabled(site.level())) [[unlikely]] {
        text(handle, site.level(), function, format, args...);
    }
}

}  // namespace Trace

/// A message, to the ring and, if its level is enabled, as text.
#define TRACE(handle, level, function, format, ...)                              \
    do {                                                                         \
        static constinit ::Trace::Site traceSite_(level, function, format);      \
        ::Trace::message(traceSite_, handle, format __VA_OPT__(, ) __VA_ARGS__); \
    } while (false)

/// The same on behalf of a function whose name only the run knows: `function` is an expression.
#define TRACE_AS(handle, level, function, format, ...)                                       \
    do {                                                                                     \
        static constinit ::Trace::Site traceSite_(level, "", format);                        \
        ::Trace::messageAs(traceSite_, handle, function, format __VA_OPT__(, ) __VA_ARGS__); \
    } while (false)

/// A message that is text alone. `level` and `function` may be expressions.
#define TRACE_TEXT(handle, level, function, format, ...)                                           \
    do {                                                                                           \
        const ::Trace::Handle& traceHandle_ = (handle);                                            \
        const unsigned traceLevel_ = (level);                                                      \
        if (traceHandle_.isEnabled(traceLevel_)) [[unlikely]] {                                    \
            ::Trace::text(traceHandle_, traceLevel_, function, format __VA_OPT__(, ) __VA_ARGS__); \
        }                                                                                          \
    } while (false)

/// A timed block in the ring from here to the end of the scope; one a scope.
/// @param signature a literal: the operation's full signature
#define TRACE_BLOCK(handle, signature)                                \
    static constinit ::Trace::Site traceBlockSite_(0, signature, ""); \
    const ::Trace::Block traceBlock_(traceBlockSite_, handle)
