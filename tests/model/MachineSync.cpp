// The walk over a table that an earlier machine left.
#include <set>
#include <vector>

#include "Ondel/VlanIntfId.h"
#include "Routing/Gmp/Tessel/App.h"
#include "model/Event.h"
#include "model/Machine.h"

namespace model {

/// Deletes what the inputs no longer justify, and the statuses that are then empty. A membership
/// on an interface that no VLAN can have ends the walk with an error; here the rest of the walk
/// is done first, and the answer says so.
void Machine::handleInitialized() {
    Answer& answer = world_.answer;
    trace(8, "handleInitialized", "handleInitialized: ", joinName());
    initialized_ = true;
    if (!has(input::table)) return;
    const int corruptions = answer.corruptions;
    std::optional<Refusal> cut;
    answer.walkBegin = answer.trace.size();
    Table before = world_.table;
    for (const auto& [status, entries] : before) {
        const std::string name =
            status.vrf + "." + stringValue(static_cast<Routing::Gmp::Tessel::App>(status.app));
        if (status.app != app_) {
            trace(8, "handleInitialized", "handleInitialized: gmpLocalColl ", name,
                  " not applicable to ", joinName());
            continue;
        }
        Memberships& kept = world_.table[status];
        for (const auto& [key, mode] : entries) {
            try {
                const std::string why = whyStale(status, key, mode);
                if (why.empty()) continue;
                trace(8, "handleInitialized", "handleInitialized(): ", why,
                      ", delete gmp membership ( ", key.source, ",", key.group, " )");
                kept.erase(key);
            } catch (const Refusal& refusal) {
                cut = refusal;
            }
        }
        if (!kept.empty()) continue;
        trace(8, "handleInitialized", "handleInitialized: del gmpStatusLocalColl ", name);
        world_.table.erase(status);
    }
    answer.walkEnd = answer.trace.size();
    answer.walkCorrupt = answer.corruptions != corruptions;
    answer.walkCut = cut.has_value();
    if (!cut) return;
    answer.walkedTable = std::move(before);
    throw Refusal(*cut);
}

/// Why the inputs do not justify a membership, empty if they do.
std::string Machine::whyStale(const StatusKey& status, const MembershipKey& key, Mode mode) {
    const std::uint16_t number = Ondel::VlanIntfId::vlanId(key.intf);
    if (number >= 4096 && number <= 16383) return {};
    requireVlanId(number);
    const VlanTracker* vlan = vlans_.find(number);
    if (vlan == nullptr) return text("No VLAN", number);
    if (vlan->vrf.empty()) return text("VRF is not set for VLAN", number);
    if (vlan->vrf != status.vrf) return text("VRF name has changed for VLAN", number);
    if (isSbdVlan(*vlan) && !vlan->drForSbd && !isPimEnabled(vlan->vrf, number)) {
        return text("Not PEG DR or Pim enabled for SBD VLAN ", number);
    }
    // At the start, what the machine follows and what the inputs hold is the same.
    const GroupTracker* group = vlan->groups.find(key.group);
    if (group == nullptr) return text("No group in VLAN ", number);
    if (!key.source.isSpecificSource()) {
        // The group's own address is skipped as a source; that is how the question is asked.
        if (requireStarG(*vlan, *group, key.group)) return {};
        return text("(*,G) not needed in ", number);
    }
    const auto* source = group->join->sources.find(key.source);
    const bool needed =
        source != nullptr && (mode == Mode::include ? updateVlanInclude(*vlan, **source)
                                                    : updateVlanExclude(*vlan, **source));
    return needed ? std::string() : text("(S,G) not needed in ", number);
}

}  // namespace model
