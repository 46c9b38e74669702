#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "model/Inputs.h"
#include "model/Table.h"

namespace model {

/// What an event does; the names are those of the replay format, dots left out.
enum class Op : std::uint8_t {
    toggle,
    start,
    stop,
    abandon,
    reap,
    notifications,
    vlanSet,
    vlanDel,
    groupSet,
    groupDel,
    sourceSet,
    sourceDel,
    includeAdd,
    includeDel,
    excludeAdd,
    excludeDel,
    join,
    leave,
    l3Set,
    l3Vrf,
    l3Del,
    pimSet,
    pimDel,
    pimIntfAdd,
    pimIntfDel,
    pegDrSet,
    pegDrDel,
    vxlanVrfSet,
    vxlanVrfDel,
    vxlanSbdSet,
    vxlanSbdDel,
    mplsVrfSet,
    mplsVrfDel,
    mplsSbdSet,
    mplsSbdDel,
    vxlanReplace,
    mplsReplace,
    tableSet,
    tableDel,
    tableStatus,
    pegDrCorrupt,
    setCorrupt,
    last = setCorrupt,
};

/// What a machine reads and writes, one bit each: a start can leave any of it out.
namespace input {
constexpr std::uint8_t joins = 1;
constexpr std::uint8_t pegDr = 2;
constexpr std::uint8_t l3 = 4;
constexpr std::uint8_t vxlan = 8;
constexpr std::uint8_t pim = 16;
constexpr std::uint8_t table = 32;
constexpr std::uint8_t mpls = 64;
constexpr std::uint8_t all = 127;
}  // namespace input

struct SourceSpec {
    Addr source;
    std::vector<Intf> include;
    std::vector<Intf> exclude;
};

struct GroupSpec {
    Addr group;
    std::vector<SourceSpec> sources;
};

/// One line of a recording. Only the fields that its op has are read.
struct Event {
    Op op = Op::stop;
    bool on = false;            ///< toggle, notifications
    std::uint8_t domain = 1;    ///< start
    std::uint8_t app = 1;       ///< start, table.*
    std::uint8_t without = 0;   ///< start; bits of input
    std::uint8_t first = 0;     ///< pegdr.set
    std::uint8_t second = 0;    ///< pegdr.set
    std::uint8_t role = 0;      ///< pegdr.set
    Mode mode = Mode::include;  ///< join, leave, table.set; of set.corrupt, which set
    std::uint32_t vlan = 0;
    std::string name;  ///< toggle, start
    std::string vrf;
    Addr group;
    Addr source;
    Intf intf;
    std::vector<Intf> include;                                    ///< source.set
    std::vector<Intf> exclude;                                    ///< source.set
    std::vector<Intf> intfs;                                      ///< pim.set
    std::vector<GroupSpec> groups;                                ///< vlan.set
    std::vector<SourceSpec> sources;                              ///< group.set
    std::vector<std::pair<std::string, std::uint32_t>> vrfToSbd;  ///< *.replace
    std::vector<std::pair<std::uint32_t, std::string>> sbdToVrf;  ///< *.replace
};

/// The event as a line of a recording, without the line's end.
std::string toJson(const Event& event);

/// An `expect` line for a table.
std::string expectation(const Table& table);

}  // namespace model
