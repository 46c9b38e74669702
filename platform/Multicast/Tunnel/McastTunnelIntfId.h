#pragma once

#include "Ondel/IntfId.h"

namespace Multicast::Tunnel::McastTunnelIntfId {

/// Whether an interface is a multicast tunnel interface: one over which other switches of the
/// fabric receive, not a local receiver.
inline bool isMcastTunnelIntfId(Ondel::IntfId intf) {
    return intf.kind() == Ondel::IntfId::Kind::mcastTunnel;
}

}  // namespace Multicast::Tunnel::McastTunnelIntfId
