#pragma once

#include <algorithm>
#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Bridging/VlanId.h"
#include "L3/VrfName.h"
#include "Ondel/IntfId.h"
#include "Ondel/IpGenAddr.h"
#include "Rix/Export.h"
#include "Routing/Gmp/Tessel/VrfApp.h"
#include "Trace/VlanNumber.h"

namespace Trace {

/// Which messages are written as text, by what their values name: VLANs, VRFs, groups. A plain
/// value. For each of the three that a filter has, a message must name one of its values; the
/// default filter has none and takes every message.
class RIX_EXPORT Filter {
  public:
    /// The filter that `text` spells: conditions separated by commas, each vlan=NUMBER, vrf=NAME or
    /// group=ADDRESS; several of one kind are alternatives.
    /// @throws std::invalid_argument for any other text, quoting the part that is wrong
    static Filter parse(std::string_view text);

    /// Takes what either of the two would ask for: the values of both.
    void add(const Filter& other);

    /// Whether a message with these values is written. A VLAN is named by its number, or by its
    /// interface; a VRF by its name, or by the key of one of its statuses.
    template <class... Values>
    bool takes(const Values&... values) const {
        return (vlans_.empty() || (namesVlan(values) || ...)) &&
               (vrfs_.empty() || (namesVrf(values) || ...)) &&
               (groups_.empty() || (namesGroup(values) || ...));
    }

    friend bool operator==(const Filter&, const Filter&) = default;

  private:
    template <class Value>
    bool namesVlan(const Value& value) const {
        using Bridging::VlanId;
        if constexpr (std::same_as<Value, VlanId> || std::same_as<Value, VlanId::Optional>) {
            return isOne(vlans_, value.value());
        } else if constexpr (std::same_as<Value, VlanNumber>) {
            return isOne(vlans_, value.number);
        } else if constexpr (std::same_as<Value, std::uint16_t>) {
            return isOne(vlans_, value);
        } else if constexpr (std::same_as<Value, Ondel::IntfId>) {
            return value.kind() == Ondel::IntfId::Kind::vlan && isOne(vlans_, value.number());
        } else {
            return false;
        }
    }

    template <class Value>
    bool namesVrf(const Value& value) const {
        if constexpr (std::same_as<Value, L3::VrfName>) {
            return isOne(vrfs_, value.text());
        } else if constexpr (std::same_as<Value, Routing::Gmp::Tessel::VrfApp>) {
            return isOne(vrfs_, value.vrfName.text());
        } else {
            return false;
        }
    }

    template <class Value>
    bool namesGroup(const Value& value) const {
        if constexpr (std::same_as<Value, Ondel::IpGenAddr>) return isOne(groups_, value);
        return false;
    }

    template <class Wanted, class Value>
    static bool isOne(const std::vector<Wanted>& wanted, const Value& value) {
        return std::find(wanted.begin(), wanted.end(), value) != wanted.end();
    }

    void addCondition(std::string_view condition);

    std::vector<std::uint32_t> vlans_;
    std::vector<std::string> vrfs_;
    std::vector<Ondel::IpGenAddr> groups_;
};

}  // namespace Trace
