#include "Replay/EventReader.h"

#include <unordered_map>

#include "Ondel/VlanIntfId.h"
#include "Replay/Fields.h"
#include "Replay/FormatError.h"
#include "Replay/Names.h"

namespace Irbmc::Replay {

namespace {

/// The VXLAN map from VRFs holds plain 16-bit numbers: no object is there to check a wider one.
constexpr std::uint32_t longestVxlanSbdVlan = UINT16_MAX;

GroupPlace readGroupPlace(Fields& fields) {
    return {fields.vlan(), fields.address("group")};
}

std::uint8_t readRole(Fields& fields, std::string_view name) {
    return fields.byteOr(name, 0, roleNamed, "none, dr, nonDr");
}

std::uint8_t readApp(Fields& fields) {
    return fields.byteOr("app", 1, appNamed, "none, irb, gmp, static");
}

SourcePlace readSourcePlace(Fields& fields) {
    const GroupPlace place = readGroupPlace(fields);
    return {place.vlan, place.group, fields.source(place.group)};
}

SourceJoin readSourceJoin(Fields& fields, const Ondel::IpGenAddr& group) {
    return {fields.source(group), fields.intfs("include"), fields.intfs("exclude")};
}

GroupJoin readGroupJoin(Fields& fields) {
    const Ondel::IpGenAddr group = fields.address("group");
    return {group, fields.objects("sources", [&group](Fields& source) {
                return readSourceJoin(source, group);
            })};
}

StatusPlace readStatusPlace(Fields& fields) {
    return {fields.text("vrf"), readApp(fields)};
}

MembershipPlace readMembershipPlace(Fields& fields) {
    const StatusPlace status = readStatusPlace(fields);
    const Ondel::IntfId intf = fields.intf();
    const Ondel::IpGenAddr group = fields.address("group");
    return {status, intf, fields.source(group), group};
}

/// A membership as a report gives it, or without the name that it adds to its application.
TableEntry readTableEntry(Fields& fields) {
    TableEntry entry{readMembershipPlace(fields), fields.mode("mode")};
    const JsonValue* const name = fields.find("appName");
    if (name != nullptr && textOf(*name, "appName") != appText(entry.place.status.app)) {
        throw FormatError(R"("appName" must be )" + jsonString(appText(entry.place.status.app)) +
                          ", as \"app\" is, not " + name->description());
    }
    return entry;
}

/// Only VLAN interfaces mean the same in every process, so only they go into the shared table.
void checkVlanIntf(Ondel::IntfId intf) {
    if (Ondel::VlanIntfId::isVlanIntfId(intf)) return;
    throw FormatError(R"("intf" must be a VLAN interface, not )" + jsonString(intf.shortName()));
}

Action readStart(Fields& fields) {
    Start start{fields.byteOr("domain", 1, domainNamed, "unknown, vxlan, mpls"),
                readApp(fields),
                fields.textOr("name", "default"),
                {}};
    for (const JsonValue& value : fields.array("without")) {
        const auto input = inputNamed(textOf(value, "without"));
        if (!input) throw FormatError("no input " + value.description());
        start.without.push_back(*input);
    }
    return start;
}

Action readSbdReplace(Fields& fields, SbdMaps maps) {
    const std::uint32_t limit = maps == SbdMaps::vxlan ? longestVxlanSbdVlan : UINT32_MAX;
    SbdReplace replace{maps, {}, {}};
    for (const auto& [vrf, vlan] : fields.members("vrfToSbd")) {
        replace.vrfToSbd.emplace_back(vrf, integerOf(vlan, "vrfToSbd", limit));
    }
    for (const auto& [vlan, vrf] : fields.members("sbdToVrf")) {
        replace.sbdToVrf.emplace_back(vlanNamed(vlan, "sbdToVrf"), textOf(vrf, "sbdToVrf"));
    }
    return replace;
}

template <JoinMode set, Change change>
Action readIntfChange(Fields& fields) {
    return IntfChange{set, change, readSourcePlace(fields), fields.intf()};
}

template <class JoinOrLeave>
Action readJoinOrLeave(Fields& fields) {
    return JoinOrLeave{readSourcePlace(fields), fields.intf(),
                       fields.modeOr("mode", JoinMode::include)};
}

template <Change change>
Action readPimIntfChange(Fields& fields) {
    return PimIntfChange{change, fields.text("vrf"), fields.intf()};
}

template <SbdMaps maps>
Action readVrfToSbdSet(Fields& fields) {
    const std::uint32_t limit = maps == SbdMaps::vxlan ? longestVxlanSbdVlan : UINT32_MAX;
    return VrfToSbdSet{maps, fields.text("vrf"), fields.integer("vlan", limit)};
}

template <SbdMaps maps>
Action readVrfToSbdDel(Fields& fields) {
    return VrfToSbdDel{maps, fields.text("vrf")};
}

template <SbdMaps maps>
Action readSbdToVrfSet(Fields& fields) {
    return SbdToVrfSet{maps, fields.vlan(), fields.text("vrf")};
}

template <SbdMaps maps>
Action readSbdToVrfDel(Fields& fields) {
    return SbdToVrfDel{maps, fields.vlan()};
}

Action readPegDrSet(Fields& fields) {
    return PegDrSet{fields.vlan(), readRole(fields, "first"), readRole(fields, "second"),
                    readRole(fields, "role")};
}

Action readTableSet(Fields& fields) {
    TableSet set{readTableEntry(fields)};
    checkVlanIntf(set.entry.place.intf);
    return set;
}

Action readTableDel(Fields& fields) {
    TableDel del{readMembershipPlace(fields)};
    checkVlanIntf(del.place.intf);
    return del;
}

using Read = Action (*)(Fields&);

const std::unordered_map<std::string_view, Read>& readers() {
    using F = Fields&;
    static const std::unordered_map<std::string_view, Read> readers = {
        {"toggle",
         [](F f) -> Action {
             return Toggle{f.text("name"), f.boolean("on")};
         }},
        {"start", readStart},
        {"stop", [](F) -> Action { return Stop{}; }},
        {"abandon", [](F) -> Action { return Abandon{}; }},
        {"reap", [](F) -> Action { return Reap{}; }},
        {"notifications", [](F f) -> Action { return Notifications{f.boolean("on")}; }},
        {"vlan.set",
         [](F f) -> Action {
             return VlanSet{f.vlan(), f.objects("groups", readGroupJoin)};
         }},
        {"vlan.del", [](F f) -> Action { return VlanDel{f.vlan()}; }},
        {"group.set",
         [](F f) -> Action {
             return GroupSet{f.vlan(), readGroupJoin(f)};
         }},
        {"group.del", [](F f) -> Action { return GroupDel{readGroupPlace(f)}; }},
        {"source.set",
         [](F f) -> Action {
             const GroupPlace place = readGroupPlace(f);
             return SourceSet{place, readSourceJoin(f, place.group)};
         }},
        {"source.del", [](F f) -> Action { return SourceDel{readSourcePlace(f)}; }},
        {"include.add", readIntfChange<JoinMode::include, Change::add>},
        {"include.del", readIntfChange<JoinMode::include, Change::del>},
        {"exclude.add", readIntfChange<JoinMode::exclude, Change::add>},
        {"exclude.del", readIntfChange<JoinMode::exclude, Change::del>},
        {"join", readJoinOrLeave<Join>},
        {"leave", readJoinOrLeave<Leave>},
        {"l3.set",
         [](F f) -> Action {
             return L3Set{f.intf(), f.textOr("vrf", "")};
         }},
        {"l3.vrf",
         [](F f) -> Action {
             return L3Vrf{f.intf(), f.text("vrf")};
         }},
        {"l3.del", [](F f) -> Action { return L3Del{f.intf()}; }},
        {"pim.set",
         [](F f) -> Action {
             return PimSet{f.text("vrf"), f.intfs("intfs")};
         }},
        {"pim.del", [](F f) -> Action { return PimDel{f.text("vrf")}; }},
        {"pim.intf.add", readPimIntfChange<Change::add>},
        {"pim.intf.del", readPimIntfChange<Change::del>},
        {"pegdr.set", readPegDrSet},
        {"pegdr.del", [](F f) -> Action { return PegDrDel{f.vlan()}; }},
        {"vxlan.vrf.set", readVrfToSbdSet<SbdMaps::vxlan>},
        {"vxlan.vrf.del", readVrfToSbdDel<SbdMaps::vxlan>},
        {"vxlan.sbd.set", readSbdToVrfSet<SbdMaps::vxlan>},
        {"vxlan.sbd.del", readSbdToVrfDel<SbdMaps::vxlan>},
        {"vxlan.replace", [](F f) { return readSbdReplace(f, SbdMaps::vxlan); }},
        {"mpls.vrf.set", readVrfToSbdSet<SbdMaps::mpls>},
        {"mpls.vrf.del", readVrfToSbdDel<SbdMaps::mpls>},
        {"mpls.sbd.set", readSbdToVrfSet<SbdMaps::mpls>},
        {"mpls.sbd.del", readSbdToVrfDel<SbdMaps::mpls>},
        {"mpls.replace", [](F f) { return readSbdReplace(f, SbdMaps::mpls); }},
        {"table.set", readTableSet},
        {"table.del", readTableDel},
        {"table.status", [](F f) -> Action { return TableStatus{readStatusPlace(f)}; }},
        {"pegdr.corrupt", [](F f) -> Action { return PegDrCorrupt{f.vlan()}; }},
        {"set.corrupt",
         [](F f) -> Action {
             return SetCorrupt{readSourcePlace(f), f.mode("set")};
         }},
        {"expect",
         [](F f) -> Action {
             if (f.find("table") == nullptr) throw FormatError(R"(missing field "table")");
             return Expect{f.objects("table", readTableEntry)};
         }},
    };
    return readers;
}

/// The time of an event, as it was written; empty if none is given.
std::string readTime(Fields& fields) {
    const JsonValue* time = fields.find("t");
    if (time == nullptr) return {};
    if (!time->isNumber()) {
        throw FormatError(R"("t" must be a number of seconds, not )" + time->description());
    }
    return time->numberText();
}

}  // namespace

bool isSkipped(std::string_view line) {
    const auto first = line.find_first_not_of(" \t\r");
    return first == std::string_view::npos || line[first] == '#';
}

Event readEvent(std::string_view line) {
    const JsonValue value = JsonValue::parse(line);
    Fields fields(value);
    const std::string op = fields.text("op");
    const auto reader = readers().find(op);
    if (reader == readers().end()) {
        throw FormatError("unknown op " + JsonValue(op).description());
    }
    Event event{reader->second(fields), readTime(fields)};
    fields.finish();
    return event;
}

}  // namespace Irbmc::Replay
