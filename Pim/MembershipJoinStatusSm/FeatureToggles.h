#pragma once

namespace Irb::Multicast::Ingress::Detail {

/// "OismMplsTunnel" ("MvpnLib.json", on by default): the SBD VLANs are those of the MPLS domain;
/// off, those of the VXLAN domain. Read once for the life of the process.
bool isOismMplsTunnel();

/// "OismGateway" ("McastVpnLib.json", on by default): a PEG DR role is that of the machine's
/// domain; off, the role that makes no difference between domains. Read once for the life of the
/// process.
bool isOismGateway();

}  // namespace Irb::Multicast::Ingress::Detail
