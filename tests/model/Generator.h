#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "model/Event.h"
#include "model/Model.h"
#include "model/Random.h"

namespace model {

/// The values that events are made of; few, so that everything collides.
struct Universe {
    std::vector<std::uint32_t> vlans;
    std::vector<std::string> vrfs;
    std::vector<Addr> groups;
    std::vector<Addr> sources;
    std::vector<Intf> receivers;  ///< interfaces that join
    std::vector<Intf> intfs;      ///< interfaces with a status, or under PIM
    // What few events use: what is refused or passed over.
    std::vector<std::uint32_t> oddVlans;
    std::vector<std::uint32_t> oddMapVlans;
    std::vector<std::string> oddVrfs;
    std::vector<Intf> oddIntfs;

    /// VLANs 1, 10, 20 and 4094, two VRFs and none, both families, any source among the sources.
    static Universe small();
    /// Eight VLANs in four VRFs, thirty groups, a dozen sources: a fabric that can live for long.
    static Universe fabric();
};

/// How often each op comes, in shares of their sum, and how odd the values are.
struct Mix {
    std::array<unsigned, static_cast<std::size_t>(Op::last) + 1> weights{};
    unsigned oddPercent = 0;
    unsigned knownPercent = 85;  ///< how often an event is about a record that is there

    /// One of several mixes: mostly joins, mostly the fabric, much of life and old tables, all.
    static Mix drawn(Random& random);
    /// A fabric's days: hosts that come and go, now and then a port, a role, a VRF, a restart.
    static Mix everyday();
};

/// Draws events that the model accepts. Refers to its universe; one thread.
class Generator {
  public:
    Generator(const Universe& universe, Mix mix, Random random);

    Event next(const Model& model);
    /// The fabric's plan, in which most rules have something to decide: interfaces in VRFs, SBD
    /// VLANs, roles and PIM.
    std::vector<Event> plan();

  private:
    Event draw(const Model& model);
    void fillJoin(Event& event, const Model& model);
    void fillFabric(Event& event, const Model& model);
    void fillMaps(Event& event);
    void fillTable(Event& event, const Model& model);
    void fillStart(Event& event);

    Op drawOp();
    bool odd() { return random_.chance(mix_.oddPercent); }
    std::uint32_t vlan();
    std::uint32_t mapVlan(bool ofVlanIds);
    std::string vrf();
    Intf intf();
    std::vector<Intf> some(const std::vector<Intf>& intfs, unsigned percent);
    SourceSpec sourceSpec(const Addr& source);
    std::vector<SourceSpec> sources();

    const Universe& universe_;
    Mix mix_;
    unsigned total_ = 0;
    Random random_;
};

}  // namespace model
