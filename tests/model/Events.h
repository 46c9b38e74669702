#pragma once

#include <initializer_list>
#include <string>
#include <utility>

#include "model/Event.h"

// Short ways to write events.
namespace model::events {

inline Addr addr(const char* text) {
    return Addr::parse(text).value();
}

inline Event life(Op op, bool on = false) {
    Event event;
    event.op = op;
    event.on = on;
    return event;
}

inline Event start(std::uint8_t without = 0, std::uint8_t domain = 1, std::uint8_t app = 1,
                   std::string name = "default") {
    Event event;
    event.op = Op::start;
    event.without = without;
    event.domain = domain;
    event.app = app;
    event.name = std::move(name);
    return event;
}

/// @param inputs bits of input
inline Event startWithout(std::uint8_t inputs) {
    return start(inputs);
}

inline Event ofJoin(Op op, std::uint32_t vlan, const Addr& group = {}, const Addr& source = {},
                    Intf intf = {}, Mode mode = Mode::include) {
    Event event;
    event.op = op;
    event.vlan = vlan;
    event.group = group;
    event.source = source;
    event.intf = intf;
    event.mode = mode;
    return event;
}

inline Event join(std::uint32_t vlan, const char* group, const char* source, const char* intf,
                  Mode mode = Mode::include) {
    return ofJoin(Op::join, vlan, addr(group), addr(source), Intf(intf), mode);
}

inline Event leave(std::uint32_t vlan, const char* group, const char* source, const char* intf,
                   Mode mode = Mode::include) {
    return ofJoin(Op::leave, vlan, addr(group), addr(source), Intf(intf), mode);
}

inline Event ofIntf(Op op, const char* intf, std::string vrf = {}) {
    Event event;
    event.op = op;
    event.intf = Intf(intf);
    event.vrf = std::move(vrf);
    return event;
}

inline Event ofVrf(Op op, std::string vrf, std::uint32_t vlan = 0) {
    Event event;
    event.op = op;
    event.vrf = std::move(vrf);
    event.vlan = vlan;
    return event;
}

inline Event pimSet(std::string vrf, std::initializer_list<const char*> intfs) {
    Event event = ofVrf(Op::pimSet, std::move(vrf));
    for (const char* intf : intfs)
        event.intfs.emplace_back(intf);
    return event;
}

inline Event pegDrSet(std::uint32_t vlan, std::uint8_t first, std::uint8_t second = 0,
                      std::uint8_t role = 0) {
    Event event = ofVrf(Op::pegDrSet, {}, vlan);
    event.first = first;
    event.second = second;
    event.role = role;
    return event;
}

inline Event ofTable(Op op, std::string vrf, std::uint8_t app, const char* intf = "vlan1",
                     const char* source = "0.0.0.0", const char* group = "239.1.1.1",
                     Mode mode = Mode::include) {
    Event event = ofIntf(op, intf, std::move(vrf));
    event.app = app;
    event.source = addr(source);
    event.group = addr(group);
    event.mode = mode;
    return event;
}

}  // namespace model::events
