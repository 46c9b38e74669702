#include "Trace/Site.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <string>

#include "Trace/RingLayout.h"
#include "Trace/RingSites.h"

namespace Trace {

namespace {

std::string_view bounded(std::string_view text) {
    return text.substr(0, std::numeric_limits<std::uint16_t>::max());
}

}  // namespace

std::uint32_t Site::registered(const Handle& handle, std::span<const ValueKind> kinds) {
    const std::string_view name = bounded(handle.name());
    const std::string_view function = bounded(function_);
    const std::string_view format = bounded(format_);
    RingSiteHead head{};
    head.kindsBytes = static_cast<std::uint16_t>(kinds.size());
    head.handleBytes = static_cast<std::uint16_t>(name.size());
    head.functionBytes = static_cast<std::uint16_t>(function.size());
    head.formatBytes = static_cast<std::uint16_t>(format.size());
    head.level = level_;
    head.entryBytes = static_cast<std::uint32_t>(sizeof head + kinds.size() + name.size() +
                                                 function.size() + format.size());
    std::string entry(reinterpret_cast<const char*>(&head), sizeof head);
    entry.append(reinterpret_cast<const char*>(kinds.data()), kinds.size());
    entry.append(name).append(function).append(format);
    const std::uint32_t number = RingSites::instance().number(entry);
    number_.store(number, std::memory_order_release);
    return number;
}

}  // namespace Trace
