#include "Trace/Filter.h"

#include <charconv>
#include <optional>
#include <stdexcept>

namespace Trace {

namespace {

std::optional<std::uint16_t> vlanIn(std::string_view text) {
    std::uint16_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop != end) return std::nullopt;
    return number;
}

}  // namespace

Filter Filter::parse(std::string_view text) {
    Filter filter;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t comma = std::min(text.find(',', begin), text.size());
        filter.addCondition(text.substr(begin, comma - begin));
        begin = comma + 1;
    }
    return filter;
}

void Filter::addCondition(std::string_view condition) {
    const std::size_t equals = std::min(condition.find('='), condition.size());
    const std::string_view kind = condition.substr(0, equals);
    const std::string_view value = condition.substr(std::min(equals + 1, condition.size()));
    const auto vlan = kind == "vlan" ? vlanIn(value) : std::nullopt;
    const auto group = kind == "group" ? Ondel::IpGenAddr::parse(value) : std::nullopt;
    if (vlan) {
        vlans_.push_back(*vlan);
    } else if (group) {
        groups_.push_back(*group);
    } else if (kind == "vrf" && !value.empty()) {
        vrfs_.emplace_back(value);
    } else {
        throw std::invalid_argument("trace filter: '" + std::string(condition) +
                                    "' is neither vlan=0..65535 nor vrf=NAME nor group=ADDRESS");
    }
}

void Filter::add(const Filter& other) {
    vlans_.insert(vlans_.end(), other.vlans_.begin(), other.vlans_.end());
    vrfs_.insert(vrfs_.end(), other.vrfs_.begin(), other.vrfs_.end());
    groups_.insert(groups_.end(), other.groups_.begin(), other.groups_.end());
}

}  // namespace Trace
