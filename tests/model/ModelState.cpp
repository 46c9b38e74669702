// The whole state as text, for whoever must tell whether a state was met before.
#include <type_traits>

#include "model/Model.h"
#include "model/Text.h"

namespace model {

namespace {

class Writer {
  public:
    template <class... Parts>
    Writer& operator()(const Parts&... parts) {
        ((append(out_, parts), out_ += ' '), ...);
        return *this;
    }
    std::string text() && { return std::move(out_); }

  private:
    std::string out_;
};

void write(Writer& out, char name, const IntfSet& set) {
    out(std::string_view(&name, 1), set.corrupt);
    for (const Intf intf : set.intfs)
        out(intf);
}

void write(Writer& out, const SourceJoin& join) {
    out("s", join.source);
    write(out, 'i', join.include);
    write(out, 'e', join.exclude);
}

void write(Writer& out, const GroupJoin& join) {
    out("g", join.group);
    for (const auto& [address, source] : join.sources)
        write(out, *source);
}

void write(Writer& out, const VlanJoin& join) {
    out("v", join.vlan);
    for (const auto& [address, group] : join.groups)
        write(out, *group);
}

void write(Writer& out, const IntfStatus& status) {
    out("l", status.intf, status.vrf);
}

void write(Writer& out, const PimStatus& status) {
    out("p", status.vrf);
    for (const Intf intf : status.intfs)
        out(intf);
}

void write(Writer& out, const SbdMaps& maps) {
    for (const auto& [vrf, vlan] : maps.vrfToSbd)
        out("m", vrf, vlan);
    for (const auto& [vlan, vrf] : maps.sbdToVrf)
        out("n", vlan, vrf);
}

/// A followed record: "=" if it is the one that the inputs hold now, else what it says itself.
template <class Record>
void writeFollowed(Writer& out, const std::shared_ptr<Record>& followed,
                   const std::shared_ptr<Record>* current) {
    if (current != nullptr && *current == followed) {
        out("=");
    } else {
        write(out, *followed);
    }
}

}  // namespace

std::string Machine::stateText() const {
    Writer out;
    const Inputs& in = world_.inputs;
    out("machine", domain_, app_, without_, listening_, reaped_);
    for (const auto& [intf, tracker] : intfs_) {
        out("L", intf, tracker.listening, tracker.reaped);
        writeFollowed(out, tracker.status, in.intfs.find(intf));
    }
    for (const auto& [vrf, tracker] : pim_) {
        out("P", vrf, tracker.reaped);
        writeFollowed(out, tracker.status, in.pim.find(vrf));
    }
    for (const auto& [number, vlan] : vlans_) {
        out("V", number, vlan.vrf, vlan.drForSbd, vlan.listening, vlan.reaped);
        const auto* vlanJoin = in.vlans.find(number);
        writeFollowed(out, vlan.join, vlanJoin);
        for (const auto& [address, group] : vlan.groups) {
            out("G", address, group.listening, group.reaped);
            const auto* join = vlanJoin != nullptr ? (*vlanJoin)->groups.find(address) : nullptr;
            writeFollowed(out, group.join, join);
            for (const auto& [source, followed] : group.sources) {
                out("S", source);
                writeFollowed(out, followed,
                              join != nullptr ? (*join)->sources.find(source) : nullptr);
            }
        }
    }
    return std::move(out).text();
}

std::string Model::stateText() const {
    Writer out;
    const Inputs& in = world_.inputs;
    out(in.joinName, everStarted_, world_.toggles.oismGateway, world_.toggles.oismMplsTunnel);
    for (const auto& [number, join] : in.vlans)
        write(out, *join);
    for (const auto& [vlan, record] : in.pegDr)
        out("d", vlan, record.first, record.second, record.role);
    for (const std::uint16_t vlan : in.corruptPegDr)
        out("c", vlan);
    for (const auto& [intf, status] : in.intfs)
        write(out, *status);
    for (const auto& [vrf, status] : in.pim)
        write(out, *status);
    out("vxlan");
    write(out, in.vxlan);
    out("mpls");
    write(out, in.mpls);
    for (const auto& [status, entries] : world_.table) {
        out("t", status.vrf, status.app);
        for (const auto& [key, mode] : entries)
            out(key.intf, key.source, key.group, mode);
    }
    return std::move(out).text() + (machine_ ? machine_->stateText() : std::string());
}

}  // namespace model
