#include "Replay/Wording.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <optional>

#include "Replay/JsonValue.h"
#include "Replay/Names.h"
#include "Replay/Overloaded.h"

namespace Irbmc::Replay {

namespace {

bool isPlain(std::string_view text) {
    return std::all_of(text.begin(), text.end(),
                       [](char character) { return character >= 0x20 && character <= 0x7e; });
}

std::string vlanText(VlanNumber vlan) {
    return "vlan" + std::to_string(vlan);
}

std::string vrfText(const VrfText& vrf) {
    return vrf.empty() ? "no VRF" : "VRF " + printable(vrf);
}

std::string intfText(Ondel::IntfId intf) {
    return printable(intf.shortName());
}

std::string intfsText(const std::vector<Ondel::IntfId>& intfs) {
    if (intfs.empty()) return "none";
    std::string text;
    for (const Ondel::IntfId intf : intfs) {
        if (!text.empty()) text += ", ";
        text += intfText(intf);
    }
    return text;
}

std::string placeText(const GroupPlace& place) {
    return vlanText(place.vlan) + " group " + place.group.text();
}

std::string placeText(const SourcePlace& place) {
    return vlanText(place.vlan) + " " + routeText(place.source, place.group);
}

std::string joinedText(const SourcePlace& place, JoinMode mode, Ondel::IntfId intf) {
    return placeText(place) + " " + std::string(modeText(mode)) + " on " + intfText(intf);
}

std::string startText(const Start& start) {
    std::string text = "state machine \"" + printable(start.name) + "\", domain " +
                       domainText(start.domain) + ", application " + appText(start.app);
    for (const Input input : start.without) {
        text += input == start.without.front() ? ", without " : " and ";
        text += inputName(input);
    }
    return text;
}

std::string vlanSetText(const VlanSet& set) {
    std::size_t sources = 0;
    for (const GroupJoin& join : set.groups) {
        sources += join.sources.size();
    }
    return vlanText(set.vlan) + " with " + countText(set.groups.size(), "group") + ", " +
           countText(sources, "source");
}

std::string sourceSetText(const SourceSet& set) {
    return placeText(SourcePlace{set.place.vlan, set.place.group, set.join.source}) +
           " include on " + intfsText(set.join.include) + ", exclude on " +
           intfsText(set.join.exclude);
}

std::string pegDrText(const PegDrSet& set) {
    return vlanText(set.vlan) + " first " + roleText(set.first) + ", second " +
           roleText(set.second) + ", role " + roleText(set.role);
}

std::string placeText(const MembershipPlace& place) {
    return statusText(place.status) + "  " + intfText(place.intf) + "  " +
           routeText(place.source, place.group);
}

/// The seconds since the epoch, whole and milliseconds, where the calendar reaches that far.
struct Moment {
    std::tm utc{};
    int milliseconds = 0;
};

std::optional<Moment> momentOf(const std::string& time) {
    static constexpr double year10000 = 253402300800.0;
    const double seconds = std::strtod(time.c_str(), nullptr);
    if (!(seconds >= 0) || seconds >= year10000) return std::nullopt;
    const auto milliseconds = static_cast<long long>(std::floor(seconds * 1000 + 0.5));
    const auto whole = static_cast<std::time_t>(milliseconds / 1000);
    Moment moment;
    if (gmtime_r(&whole, &moment.utc) == nullptr) return std::nullopt;
    moment.milliseconds = static_cast<int>(milliseconds % 1000);
    return moment;
}

}  // namespace

std::string printable(std::string_view text) {
    if (isPlain(text)) return std::string(text);
    // A JSON string has control characters and bad bytes replaced already. What is left to do is
    // DEL and the second set of control characters; and quotes need no escape here.
    const std::string quoted = jsonString(text);
    std::string safe;
    for (std::size_t i = 1; i + 1 < quoted.size(); ++i) {
        const auto byte = static_cast<unsigned char>(quoted[i]);
        const auto next = static_cast<unsigned char>(quoted[i + 1]);
        if (byte == 0x7f) {
            safe += "\\u007f";
        } else if (byte == 0xc2 && next < 0xa0) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04x", next);
            safe += escape;
            ++i;
        } else if (byte == '\\' && (next == '"' || next == '\\')) {
            safe += quoted[++i];
        } else {
            safe += quoted[i];
        }
    }
    return safe;
}

std::string sourceText(const Ondel::IpGenAddr& source) {
    return source.isSpecificSource() ? source.text() : "*";
}

std::string routeText(const Ondel::IpGenAddr& source, const Ondel::IpGenAddr& group) {
    return "(" + sourceText(source) + ", " + group.text() + ")";
}

std::string_view modeText(JoinMode mode) {
    return mode == JoinMode::include ? "include" : "exclude";
}

std::string countText(std::size_t count, std::string_view singular) {
    return std::to_string(count) + " " + std::string(singular) + (count == 1 ? "" : "s");
}

std::string statusText(const StatusPlace& status) {
    return printable(status.vrf) + "." + appText(status.app);
}

std::string membershipText(const TableEntry& entry) {
    return placeText(entry.place) + "  " + std::string(modeText(entry.mode));
}

std::string describe(const Action& action) {
    using Text = std::string;
    return std::visit(
        Overloaded{
            [](const Toggle& e) { return e.name + (e.on ? " on" : " off"); },
            [](const Start& e) { return startText(e); },
            [](const Stop&) -> Text { return "the state machine is destroyed"; },
            [](const Abandon&) -> Text { return "the state machine dies, its table stays"; },
            [](const Reap&) -> Text { return "the state machine reaps its trackers"; },
            [](const Notifications& e) -> Text { return e.on ? "on" : "off"; },
            [](const VlanSet& e) { return vlanSetText(e); },
            [](const VlanDel& e) { return vlanText(e.vlan); },
            [](const GroupSet& e) {
                return placeText(GroupPlace{e.vlan, e.join.group}) + " with " +
                       countText(e.join.sources.size(), "source");
            },
            [](const GroupDel& e) { return placeText(e.place); },
            [](const SourceSet& e) { return sourceSetText(e); },
            [](const SourceDel& e) { return placeText(e.place); },
            [](const IntfChange& e) { return placeText(e.place) + " " + intfText(e.intf); },
            [](const Join& e) { return joinedText(e.place, e.mode, e.intf); },
            [](const Leave& e) { return joinedText(e.place, e.mode, e.intf); },
            [](const L3Set& e) { return intfText(e.intf) + " is in " + vrfText(e.vrf); },
            [](const L3Vrf& e) { return intfText(e.intf) + " moves to " + vrfText(e.vrf); },
            [](const L3Del& e) { return intfText(e.intf); },
            [](const PimSet& e) { return vrfText(e.vrf) + " runs PIM on " + intfsText(e.intfs); },
            [](const PimDel& e) { return vrfText(e.vrf); },
            [](const PimIntfChange& e) { return vrfText(e.vrf) + " " + intfText(e.intf); },
            [](const PegDrSet& e) { return pegDrText(e); },
            [](const PegDrDel& e) { return vlanText(e.vlan); },
            [](const VrfToSbdSet& e) {
                return vrfText(e.vrf) + " has SBD VLAN " + std::to_string(e.vlan);
            },
            [](const VrfToSbdDel& e) { return vrfText(e.vrf); },
            [](const SbdToVrfSet& e) {
                return "SBD VLAN " + std::to_string(e.vlan) + " is of " + vrfText(e.vrf);
            },
            [](const SbdToVrfDel& e) { return "SBD VLAN " + std::to_string(e.vlan); },
            [](const SbdReplace& e) {
                return "new maps of " + countText(e.vrfToSbd.size(), "VRF") + " and " +
                       countText(e.sbdToVrf.size(), "SBD VLAN");
            },
            [](const TableSet& e) { return membershipText(e.entry); },
            [](const TableDel& e) { return placeText(e.place); },
            [](const TableStatus& e) { return statusText(e.status); },
            [](const PegDrCorrupt& e) { return vlanText(e.vlan) + " reads as damaged once"; },
            [](const SetCorrupt& e) {
                return placeText(e.place) + " " + Text(modeText(e.set)) +
                       " set reads as damaged once";
            },
            [](const Expect& e) { return countText(e.table.size(), "membership"); },
        },
        action);
}

std::string dayText(const std::string& time) {
    const auto moment = momentOf(time);
    if (!moment) return {};
    char text[32];
    return {text, std::strftime(text, sizeof text, "%Y-%m-%d", &moment->utc)};
}

std::string clockText(const std::string& time) {
    const auto moment = momentOf(time);
    if (!moment) return time;
    char text[32];
    const std::size_t length = std::strftime(text, sizeof text, "%H:%M:%S", &moment->utc);
    std::snprintf(text + length, sizeof text - length, ".%03d", moment->milliseconds);
    return text;
}

}  // namespace Irbmc::Replay
