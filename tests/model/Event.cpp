#include "model/Event.h"

#include <array>
#include <string_view>

namespace model {

namespace {

/// Writes one JSON object, field by field.
class Object {
  public:
    Object& field(std::string_view name, std::string_view value) {
        return raw(name, quoted(value));
    }
    Object& field(std::string_view name, std::uint32_t value) {
        return raw(name, std::to_string(value));
    }
    Object& flag(std::string_view name, bool value) { return raw(name, value ? "true" : "false"); }
    Object& field(std::string_view name, const Addr& value) { return field(name, value.text()); }
    Object& field(std::string_view name, Intf value) { return field(name, value.shortName()); }
    Object& raw(std::string_view name, const std::string& json) {
        text_ += (text_.size() == 1 ? "" : ",") + quoted(name) + ":" + json;
        return *this;
    }

    std::string text() const { return text_ + "}"; }

    static std::string quoted(std::string_view text) {
        std::string result = "\"";
        for (const char c : text) {
            if (c == '"' || c == '\\') result += '\\';
            result += c;
        }
        return result + "\"";
    }

  private:
    std::string text_ = "{";
};

template <class Range, class Writer>
std::string array(const Range& range, Writer&& writer) {
    std::string text = "[";
    for (const auto& element : range) {
        if (text.size() > 1) text += ",";
        text += writer(element);
    }
    return text + "]";
}

std::string intfArray(const std::vector<Intf>& intfs) {
    return array(intfs, [](Intf intf) { return Object::quoted(intf.shortName()); });
}

std::string sourceArray(const std::vector<SourceSpec>& sources) {
    return array(sources, [](const SourceSpec& spec) {
        return Object()
            .field("source", spec.source)
            .raw("include", intfArray(spec.include))
            .raw("exclude", intfArray(spec.exclude))
            .text();
    });
}

std::string groupArray(const std::vector<GroupSpec>& groups) {
    return array(groups, [](const GroupSpec& spec) {
        return Object().field("group", spec.group).raw("sources", sourceArray(spec.sources)).text();
    });
}

std::string withoutArray(std::uint8_t bits) {
    static constexpr std::array<std::string_view, 7> names{
        "membershipJoinStatus", "pegDrStatus",        "l3IntfStatusDir", "enabledStatus",
        "pimStatusColl",        "gmpStatusLocalColl", "gmpProxyStatus"};
    std::vector<std::string_view> left;
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (bits >> i & 1) left.push_back(names[i]);
    }
    return array(left, Object::quoted);
}

std::string_view modeText(Mode mode) {
    return mode == Mode::include ? "include" : "exclude";
}

std::string_view opText(Op op) {
    static constexpr std::array<std::string_view, static_cast<std::size_t>(Op::last) + 1> names{
        "toggle",        "start",        "stop",          "abandon",       "reap",
        "notifications", "vlan.set",     "vlan.del",      "group.set",     "group.del",
        "source.set",    "source.del",   "include.add",   "include.del",   "exclude.add",
        "exclude.del",   "join",         "leave",         "l3.set",        "l3.vrf",
        "l3.del",        "pim.set",      "pim.del",       "pim.intf.add",  "pim.intf.del",
        "pegdr.set",     "pegdr.del",    "vxlan.vrf.set", "vxlan.vrf.del", "vxlan.sbd.set",
        "vxlan.sbd.del", "mpls.vrf.set", "mpls.vrf.del",  "mpls.sbd.set",  "mpls.sbd.del",
        "vxlan.replace", "mpls.replace", "table.set",     "table.del",     "table.status",
        "pegdr.corrupt", "set.corrupt"};
    return names[static_cast<std::size_t>(op)];
}

void lifeFields(Object& out, const Event& e) {
    switch (e.op) {
        case Op::toggle:
            out.field("name", e.name).flag("on", e.on);
            break;
        case Op::start:
            out.field("domain", e.domain).field("app", e.app).field("name", e.name);
            if (e.without != 0) out.raw("without", withoutArray(e.without));
            break;
        case Op::notifications:
            out.flag("on", e.on);
            break;
        default:
            break;
    }
}

void joinFields(Object& out, const Event& e) {
    out.field("vlan", e.vlan);
    if (e.op == Op::vlanSet) out.raw("groups", groupArray(e.groups));
    if (e.op == Op::vlanSet || e.op == Op::vlanDel) return;
    out.field("group", e.group);
    if (e.op == Op::groupSet) out.raw("sources", sourceArray(e.sources));
    if (e.op == Op::groupSet || e.op == Op::groupDel) return;
    out.field("source", e.source);
    if (e.op == Op::sourceSet) {
        out.raw("include", intfArray(e.include)).raw("exclude", intfArray(e.exclude));
    } else if (e.op != Op::sourceDel) {
        out.field("intf", e.intf);
    }
    if (e.op == Op::join || e.op == Op::leave) out.field("mode", modeText(e.mode));
}

void fabricFields(Object& out, const Event& e) {
    switch (e.op) {
        case Op::l3Set:
        case Op::l3Vrf:
            out.field("intf", e.intf).field("vrf", e.vrf);
            break;
        case Op::l3Del:
            out.field("intf", e.intf);
            break;
        case Op::pimSet:
            out.field("vrf", e.vrf).raw("intfs", intfArray(e.intfs));
            break;
        case Op::pimIntfAdd:
        case Op::pimIntfDel:
            out.field("vrf", e.vrf).field("intf", e.intf);
            break;
        case Op::pegDrSet:
            out.field("vlan", e.vlan).field("first", e.first);
            out.field("second", e.second).field("role", e.role);
            break;
        case Op::vxlanVrfSet:
        case Op::mplsVrfSet:
        case Op::vxlanSbdSet:
        case Op::mplsSbdSet:
            out.field("vrf", e.vrf).field("vlan", e.vlan);
            break;
        case Op::pimDel:
        case Op::vxlanVrfDel:
        case Op::mplsVrfDel:
            out.field("vrf", e.vrf);
            break;
        default:  // pegdr.del, *.sbd.del, pegdr.corrupt
            out.field("vlan", e.vlan);
            break;
    }
}

void replaceFields(Object& out, const Event& e) {
    Object forward;
    for (const auto& [vrf, vlan] : e.vrfToSbd)
        forward.field(vrf, vlan);
    Object reverse;
    for (const auto& [vlan, vrf] : e.sbdToVrf)
        reverse.field(std::to_string(vlan), vrf);
    out.raw("vrfToSbd", forward.text()).raw("sbdToVrf", reverse.text());
}

void tableFields(Object& out, const Event& e) {
    out.field("vrf", e.vrf).field("app", e.app);
    if (e.op == Op::tableStatus) return;
    out.field("intf", e.intf).field("source", e.source).field("group", e.group);
    if (e.op == Op::tableSet) out.field("mode", modeText(e.mode));
}

}  // namespace

std::string toJson(const Event& event) {
    Object out;
    out.field("op", opText(event.op));
    if (event.op <= Op::notifications) {
        lifeFields(out, event);
    } else if (event.op <= Op::leave) {
        joinFields(out, event);
    } else if (event.op <= Op::mplsSbdDel || event.op == Op::pegDrCorrupt) {
        fabricFields(out, event);
    } else if (event.op <= Op::mplsReplace) {
        replaceFields(out, event);
    } else if (event.op <= Op::tableStatus) {
        tableFields(out, event);
    } else {
        out.field("vlan", event.vlan).field("group", event.group).field("source", event.source);
        out.field("set", modeText(event.mode));
    }
    return out.text();
}

std::string expectation(const Table& table) {
    std::vector<std::string> memberships;
    for (const auto& [status, entries] : table) {
        for (const auto& [key, mode] : entries) {
            memberships.push_back(Object()
                                      .field("vrf", status.vrf)
                                      .field("app", status.app)
                                      .field("intf", key.intf)
                                      .field("source", key.source)
                                      .field("group", key.group)
                                      .field("mode", modeText(mode))
                                      .text());
        }
    }
    return Object()
        .field("op", "expect")
        .raw("table", array(memberships, [](const std::string& m) { return m; }))
        .text();
}

}  // namespace model
