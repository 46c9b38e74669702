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

/// The inputs that a start can leave out, one bit each.
enum Without : std::uint8_t {
    withoutJoins = 1,
    withoutPegDr = 2,
    withoutL3 = 4,
    withoutVxlan = 8,
    withoutPim = 16,
    withoutTable = 32,
    withoutMpls = 64,
};

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
    std::uint8_t without = 0;   ///< start; bits of Without
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
