#pragma once

#include <string>

#include "Pim/Fabric.h"

namespace Irb::Multicast::Ingress::Detail {

/// A fabric with one join of each kind: in the VRF red, a host on VLAN 10 and, behind a tunnel, one
/// on the SBD VLAN 100; this router is DR there.
class TwoJoins : public Fabric {
  protected:
    void redWithTwoJoins() {
        bind("vlan10", "red");
        bind("vlan100", "red");
        sbd("red", 100);
        pegDr(100, 1);
        join(10, "239.1.1.1", "10.0.0.1", "swp1");
        join(100, "239.1.1.1", "10.0.0.1", "mtunnel1");
    }

    /// What the table holds of them.
    const std::string host10 = "red.irb vlan10 (10.0.0.1, 239.1.1.1) include";
    const std::string host100 = "red.irb vlan100 (10.0.0.1, 239.1.1.1) include";
};

}  // namespace Irb::Multicast::Ingress::Detail
