#pragma once

#include <string_view>

#include "Rix/Export.h"

namespace Irb::Multicast::App {

/// What kind of client of the multicast agent a name stands for.
class RIX_EXPORT ClientInstance {
  public:
    enum Value : unsigned char {
        unknown = 0,
        defaultInstance = 1,
        vxlan = 2,
        mpls = 3,
        vxlanMpls = 4,
        proxy = 5,
        /// A router without peers: there is nobody to elect a designated router with, so it is DR
        /// for every VLAN.
        standalone = 6,
    };

    /// The instance of a name: "default", "vxlan", "mpls", "vxlanMpls", "proxy", "standalone"; any
    /// other name gives `unknown`.
    explicit ClientInstance(std::string_view name);

    Value value() const { return value_; }

  private:
    Value value_ = unknown;
};

}  // namespace Irb::Multicast::App
