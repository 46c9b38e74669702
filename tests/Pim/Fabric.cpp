#include "Pim/Fabric.h"

#include <algorithm>
#include <sstream>
#include <utility>

#include "MembershipJoinStatusSm/RixVlanMembership.h"
#include "MembershipJoinStatusSm/SmTrace.h"
#include "Toggle/FeatureToggle.h"
#include "Trace/RingReader.h"
#include "Trace/TextSink.h"

namespace Irb::Multicast::Ingress::Detail {

using Routing::Gmp::Tessel::FilterMode;
using Routing::Gmp::Tessel::Status;

Fabric::Fabric()
    : membershipJoinStatus(Lumo::make<Gmp::MembershipJoinStatus>("default")),
      pegDrStatus(Lumo::make<Routing::Multicast::PegDrStatus>()),
      l3IntfStatusDir(Lumo::make<L3::Intf::StatusDir>()),
      enabledStatus(Lumo::make<Vxlan::EnabledStatus>()),
      pimStatusColl(Lumo::make<Routing::Pim::StatusColl>()),
      gmpProxyStatus(Lumo::make<GmpProxyStatus>()),
      gmpStatusLocalColl(Routing::Gmp::Tessel::StatusColl::anonymous()) {
    toggles({});
    pegDrStatus->corruptionHandlerIs(&corruptions_);
    gmpStatusLocalColl->corruptionHandlerIs(
        [this](std::string_view message) { corruptions_.onCorruption(message); });
    smTrace().levelsIs(Trace::Levels::all());
    Trace::textSinkIs([this](const Trace::TextRecord& record) {
        trace_.push_back(std::to_string(record.level) + " " + std::string(record.function) + " | " +
                         std::string(record.text));
    });
}

Fabric::~Fabric() {
    machine = nullptr;
    Trace::textSinkIs({});
    smTrace().levelsIs({});
    Toggle::forget();
    expectInputsUnreferenced();
    membershipJoinStatus = nullptr;
    pegDrStatus = nullptr;
    l3IntfStatusDir = nullptr;
    enabledStatus = nullptr;
    pimStatusColl = nullptr;
    gmpProxyStatus = nullptr;
    gmpStatusLocalColl = nullptr;
    EXPECT_EQ(liveObjects(), liveAtStart_) << "objects were left over";
}

std::map<std::string, std::uint64_t> Fabric::liveObjects() {
    std::map<std::string, std::uint64_t> live;
    for (const Lumo::TypeData* type : Lumo::TypeData::types()) {
        if (type->allocations().live != 0) live[type->name()] = type->allocations().live;
    }
    return live;
}

void Fabric::expectInputsUnreferenced() const {
    const auto expect = [](const auto& input, const char* name) {
        if (!input) return;
        EXPECT_EQ(input->references(), 1u) << name << " is still referred to";
        if (const Lumo::Publisher* publisher = input->publisher()) {
            EXPECT_EQ(publisher->subscribers(), 0u) << name << " is still listened to";
        }
    };
    expect(membershipJoinStatus, "membershipJoinStatus");
    expect(pegDrStatus, "pegDrStatus");
    expect(l3IntfStatusDir, "l3IntfStatusDir");
    expect(enabledStatus, "enabledStatus");
    expect(pimStatusColl, "pimStatusColl");
    expect(gmpProxyStatus, "gmpProxyStatus");
    expect(gmpStatusLocalColl, "gmpStatusLocalColl");
}

void Fabric::toggles(Toggles state) {
    Toggle::forget();
    Toggle::overrideIs("OismMplsTunnel", state.oismMplsTunnel);
    Toggle::overrideIs("OismGateway", state.oismGateway);
}

void Fabric::start() {
    stop();
    machine = inside(MembershipJoinStatusSm::MembershipJoinStatusSmIs(
        domain, membershipJoinStatus, pegDrStatus, l3IntfStatusDir, enabledStatus, pimStatusColl,
        gmpStatusLocalColl, gmpProxyStatus, app));
}

Lumo::Ptr<MembershipJoinStatusSm::RixVlanMembership> Fabric::vlan(unsigned number) {
    return machine->rixVlanMembership(VlanId(number));
}

Ondel::IpGenAddr Fabric::address(const char* text) {
    return IpGenAddr::parse(text).value();
}

void Fabric::join(unsigned number, const char* group, const char* source, const char* intf,
                  Mode mode) {
    const VlanId vlanId(number);
    if (!membershipJoinStatus->vlan(vlanId)) {
        membershipJoinStatus->vlanIs(Lumo::make<Gmp::VlanMembershipJoin>(vlanId));
    }
    const auto vlanOfIt = membershipJoinStatus->vlan(vlanId);
    if (!vlanOfIt->group(address(group))) {
        vlanOfIt->groupIs(Lumo::make<Gmp::GroupMembershipJoin>(address(group)));
    }
    const auto groupOfIt = vlanOfIt->group(address(group));
    if (!groupOfIt->source(address(source))) {
        const auto record = Lumo::make<Gmp::SourceMembershipJoin>(address(source));
        record->corruptionHandlerIs(&corruptions_);
        groupOfIt->sourceIs(record);
    }
    const auto record = groupOfIt->source(address(source));
    mode == Mode::include ? record->includeIntfIs(IntfId(intf))
                          : record->excludeIntfIs(IntfId(intf));
}

void Fabric::leave(unsigned number, const char* group, const char* source, const char* intf,
                   Mode mode) {
    const auto record = sourceJoin(number, group, source);
    mode == Mode::include ? record->includeIntfDel(IntfId(intf))
                          : record->excludeIntfDel(IntfId(intf));
}

Lumo::Ptr<Gmp::VlanMembershipJoin> Fabric::vlanJoin(unsigned number) {
    return membershipJoinStatus->vlan(VlanId(number));
}

Lumo::Ptr<Gmp::GroupMembershipJoin> Fabric::groupJoin(unsigned number, const char* group) {
    return vlanJoin(number)->group(address(group));
}

Lumo::Ptr<Gmp::SourceMembershipJoin> Fabric::sourceJoin(unsigned number, const char* group,
                                                        const char* source) {
    return groupJoin(number, group)->source(address(source));
}

void Fabric::delSource(unsigned number, const char* group, const char* source) {
    groupJoin(number, group)->sourceDel(address(source));
}

void Fabric::delGroup(unsigned number, const char* group) {
    vlanJoin(number)->groupDel(address(group));
}

void Fabric::delVlan(unsigned number) {
    membershipJoinStatus->vlanDel(VlanId(number));
}

void Fabric::bind(const char* intf, const char* name) {
    l3IntfStatusDir->intfStatusIs(Lumo::make<L3::Intf::Status>(IntfId(intf), VrfName(name)));
}

void Fabric::rebind(const char* intf, const char* name) {
    l3IntfStatusDir->intfStatus(IntfId(intf))->vrfIs(VrfName(name));
}

void Fabric::unbind(const char* intf) {
    l3IntfStatusDir->intfStatusDel(IntfId(intf));
}

void Fabric::sbd(const char* name, unsigned number) {
    enabledStatus->vrfToSBDVlanIs(VrfName(name), static_cast<std::uint16_t>(number));
    gmpProxyStatus->vrfToSbdVlanIs(VrfName(name), VlanId(number));
    enabledStatus->sbdVlanToVrfIs(number, VrfName(name));
    gmpProxyStatus->sbdVlanToVrfIs(VlanId(number), VrfName(name));
}

void Fabric::notSbd(const char* name, unsigned number) {
    enabledStatus->vrfToSBDVlanDel(VrfName(name));
    gmpProxyStatus->vrfToSbdVlanDel(VrfName(name));
    enabledStatus->sbdVlanToVrfDel(number);
    gmpProxyStatus->sbdVlanToVrfDel(VlanId(number));
}

void Fabric::pegDr(unsigned number, unsigned vxlan, unsigned mpls, unsigned plain) {
    using Routing::Multicast::PegDrRole;
    pegDrStatus->pegDrVlanIs({VlanId(number), static_cast<PegDrRole>(vxlan),
                              static_cast<PegDrRole>(mpls), static_cast<PegDrRole>(plain)});
}

void Fabric::pim(const char* name, const std::vector<const char*>& intfs) {
    const auto status = Lumo::make<Routing::Pim::Status>(VrfName(name));
    for (const char* intf : intfs)
        status->intfIs(Lumo::make<Routing::Pim::Intf>(IntfId(intf)));
    pimStatusColl->vrfStatusIs(status);
}

void Fabric::pimIntf(const char* name, const char* intf) {
    pimStatusColl->vrfStatus(VrfName(name))->intfIs(Lumo::make<Routing::Pim::Intf>(IntfId(intf)));
}

void Fabric::delPimIntf(const char* name, const char* intf) {
    pimStatusColl->vrfStatus(VrfName(name))->intfDel(IntfId(intf));
}

void Fabric::delPim(const char* name) {
    pimStatusColl->vrfStatusDel(VrfName(name));
}

void Fabric::staleStatus(const char* name, Routing::Gmp::Tessel::App writer) {
    const Routing::Gmp::Tessel::VrfApp key{VrfName(name), writer};
    if (gmpStatusLocalColl->gmpStatus(key)) return;
    gmpStatusLocalColl->gmpStatusIs(key, Lumo::make<Status>(key.name()));
}

void Fabric::stale(const char* name, const char* intf, const char* source, const char* group,
                   Mode mode, Routing::Gmp::Tessel::App writer) {
    staleStatus(name, writer);
    gmpStatusLocalColl->gmpStatus({VrfName(name), writer})
        ->membershipIs({{IntfId(intf), address(source), address(group)},
                        mode == Mode::include ? FilterMode::include : FilterMode::exclude});
}

Fabric::Texts Fabric::table() const {
    Texts texts;
    for (const auto& [key, status] : *gmpStatusLocalColl) {
        for (const Routing::Gmp::Tessel::Membership membership : *status) {
            std::ostringstream text;
            text << status->name() << ' ' << membership.key().intf << " ("
                 << membership.key().source << ", " << membership.key().group << ") "
                 << membership.filterMode();
            texts.push_back(text.str());
        }
    }
    std::sort(texts.begin(), texts.end());
    return texts;
}

Fabric::Texts Fabric::statuses() const {
    Texts names;
    for (const auto& [key, status] : *gmpStatusLocalColl)
        names.push_back(status->name());
    std::sort(names.begin(), names.end());
    return names;
}

Fabric::Texts Fabric::trace(unsigned level) const {
    Texts texts;
    const std::string prefix = std::to_string(level) + " ";
    for (const std::string& line : trace_) {
        if (line.starts_with(prefix)) texts.push_back(line.substr(line.find(" | ") + 3));
    }
    return texts;
}

bool Fabric::traced(const std::string& line) const {
    return std::find(trace_.begin(), trace_.end(), line) != trace_.end();
}

void Fabric::forget() {
    trace_.clear();
    forgottenRecords_ = Trace::RingReader::ofProcess().written();
}

std::vector<Trace::RingRecord> Fabric::ringRecords() const {
    const auto ring = Trace::RingReader::ofProcess();
    std::vector<Trace::RingRecord> records;
    for (std::size_t place = 0; place < ring.size(); ++place) {
        Trace::RingRecord record = ring.record(place);
        if (record.number > forgottenRecords_ && record.handle == smTrace().name()) {
            records.push_back(std::move(record));
        }
    }
    return records;
}

Fabric::Texts Fabric::ringMessages() const {
    Texts lines;
    for (const Trace::RingRecord& record : ringRecords()) {
        if (record.type != Trace::RecordType::message) continue;
        lines.push_back(std::to_string(record.level) + " " + record.function + " | " +
                        record.text());
    }
    return lines;
}

Fabric::Texts Fabric::blocks() const {
    Texts signatures;
    for (const Trace::RingRecord& record : ringRecords()) {
        if (record.type == Trace::RecordType::blockBegin) {
            signatures.push_back("BEGIN " + record.function);
        } else if (record.type == Trace::RecordType::blockEnd) {
            signatures.push_back("END " + record.function);
        }
    }
    return signatures;
}

}  // namespace Irb::Multicast::Ingress::Detail
