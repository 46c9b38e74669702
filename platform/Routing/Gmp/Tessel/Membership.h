#pragma once

#include "Routing/Gmp/Tessel/FilterMode.h"
#include "Routing/Gmp/Tessel/RouteIntfKey.h"

namespace Routing::Gmp::Tessel {

/// One entry of a status: "traffic of this source and group is wanted on this interface". A plain
/// value. The default record has the default key and the filter mode exclude.
class Membership {
  public:
    Membership() = default;
    Membership(const RouteIntfKey& key, FilterMode filterMode)
        : key_(key), filterMode_(filterMode) {}

    /// The same from the parts of the key, which are put in place without a copy: walks over a
    /// table do little else.
    Membership(Ondel::IntfId intf, Ondel::IpGenAddr::Family sourceFamily,
               const Ondel::IpGenAddr::Bytes& source, Ondel::IpGenAddr::Family groupFamily,
               const Ondel::IpGenAddr::Bytes& group, FilterMode filterMode)
        : key_{intf, {sourceFamily, source}, {groupFamily, group}}, filterMode_(filterMode) {}

    const RouteIntfKey& key() const { return key_; }
    FilterMode filterMode() const { return filterMode_; }

    friend auto operator<=>(const Membership&, const Membership&) = default;

  private:
    RouteIntfKey key_;
    FilterMode filterMode_ = FilterMode::exclude;
};

}  // namespace Routing::Gmp::Tessel
