// Sequences of events, the machine against the model. A difference, whatever it is, is printed as
// a recording with as few events as show it, and ends the process.
//
// The first byte of an input chooses the feature toggles. Then eight bytes make one event: what it
// does, VLAN, group, source, interface, VRF, small numbers, and what a record holds. Each has its
// place whatever the event does, so that a change of one byte is a small change of the sequence.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "model/EngineSubject.h"
#include "model/Generator.h"
#include "model/Trial.h"

namespace {

using model::Event;
using model::Op;

using Bytes = std::array<std::uint8_t, 8>;

/// An item of one list or of the other.
template <class Item>
const Item& pick(const std::vector<Item>& usual, const std::vector<Item>& odd, std::uint8_t byte) {
    const std::size_t place = byte % (usual.size() + odd.size());
    return place < usual.size() ? usual[place] : odd[place - usual.size()];
}

/// The items whose bits are set.
template <class Item>
std::vector<Item> some(const std::vector<Item>& items, unsigned bits) {
    std::vector<Item> chosen;
    for (std::size_t i = 0; i < items.size(); ++i) {
        if ((bits >> i & 1) != 0) chosen.push_back(items[i]);
    }
    return chosen;
}

/// Turns eight bytes into an event.
class Decoder {
  public:
    Event event(const Bytes& bytes) const {
        const auto [op, vlan, group, source, intf, vrf, numbers, content] = bytes;
        Event event;
        event.op = static_cast<Op>(op % (static_cast<unsigned>(Op::last) + 1));
        event.group = all_.groups[group % all_.groups.size()];
        event.source = all_.sources[source % all_.sources.size()];
        event.intf = intfOf(event.op, intf);
        event.vrf = pick(all_.vrfs, all_.oddVrfs, vrf);
        // Of two values that are refused, model and machine may name another one.
        const bool isVrfRefused = event.vrf.size() > 100;
        event.vlan = isVrfRefused ? all_.vlans[vlan % all_.vlans.size()] : anyVlan(vlan);
        fillNumbers(event, numbers, content);
        fillRecord(event, bytes);
        return event;
    }

  private:
    model::Intf intfOf(Op op, std::uint8_t byte) const {
        const bool isReceiver = op >= Op::includeAdd && op <= Op::leave;
        return pick(isReceiver ? all_.receivers : all_.intfs, all_.oddIntfs, byte);
    }

    std::uint32_t anyVlan(std::uint8_t byte) const {
        return (byte & 0x80) != 0 ? pick(all_.oddVlans, all_.oddMapVlans, byte)
                                  : all_.vlans[byte % all_.vlans.size()];
    }

    void fillNumbers(Event& event, std::uint8_t numbers, std::uint8_t content) const {
        static const std::array<std::uint8_t, 4> few{1, 2, 0, 255};
        static const std::array<const char*, 4> names{"default", "standalone", "vxlan", ""};
        event.on = (numbers & 1) != 0;
        event.mode = event.on ? model::Mode::exclude : model::Mode::include;
        event.domain = event.first = few[numbers >> 2 & 3];
        event.app = event.second = few[numbers >> 4 & 3];
        event.role = few[numbers >> 6];
        event.name = names[numbers >> 6];
        if (event.op == Op::toggle) event.name = event.role == 1 ? "OismGateway" : "OismMplsTunnel";
        if ((content & 0x80) != 0) event.without = content & 0x7f;
    }

    void fillRecord(Event& event, const Bytes& bytes) const {
        const std::uint8_t content = bytes[7];
        event.include = some(all_.receivers, content);
        event.exclude = some(all_.receivers, content >> 4);
        event.intfs = some(all_.intfs, content);
        for (const model::Intf intf : some(all_.oddIntfs, content >> 4))
            event.intfs.push_back(intf);
        for (const model::Addr& source : some(all_.sources, bytes[3]))
            event.sources.push_back({source, event.include, event.exclude});
        for (const model::Addr& group : some(all_.groups, bytes[2]))
            event.groups.push_back({group, event.sources});
        for (const std::string& vrf : some(all_.vrfs, content)) {
            event.vrfToSbd.emplace_back(vrf, event.vrfToSbd.empty() ? event.vlan : all_.vlans[1]);
        }
        for (const std::uint32_t vlan : some(all_.vlans, content >> 4)) {
            event.sbdToVrf.emplace_back(vlan, all_.vrfs[bytes[6] % all_.vrfs.size()]);
        }
    }

    const model::Universe all_ = model::Universe::small();
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Decoder decoder;
    if (size == 0) return 0;
    const model::Toggles toggles{(data[0] & 1) == 0, (data[0] & 2) == 0};
    std::vector<Event> events;
    Bytes bytes{};
    for (std::size_t at = 1; at + bytes.size() <= size; at += bytes.size()) {
        std::copy_n(data + at, bytes.size(), bytes.begin());
        events.push_back(decoder.event(bytes));
    }
    const auto machines = model::engineSubjects(IRBMC_MACHINE_LIBRARY, toggles);
    const auto found = model::tryEvents(machines, toggles, events);
    if (!found) return 0;
    const auto least = model::shrunk(machines, toggles, *found);
    std::fprintf(stderr, "model and machine differ:\n%s%s\n",
                 model::recording(least, toggles).c_str(), least.what.c_str());
    std::abort();
}
