#include "ChangeLine.h"

#include <cstdio>
#include <string_view>

#include "Replay/Colours.h"
#include "Replay/JsonReport.h"
#include "Replay/JsonValue.h"
#include "Replay/Places.h"
#include "Replay/Wording.h"

namespace Irbmc {

namespace {

using Replay::TableEntry;
using Routing::Gmp::Tessel::TableChange;

/// How a change is marked for people, and called for programs.
struct Name {
    std::string_view mark;
    std::string_view word;
    std::string_view colour;
};

Name nameOf(const TableChange& change) {
    switch (change.kind) {
        case TableChange::Kind::statusAdded:
            return {"+", "statusAdded", Replay::green};
        case TableChange::Kind::statusRemoved:
            return {"-", "statusRemoved", Replay::red};
        case TableChange::Kind::membership:
            break;
    }
    if (!change.membership.before) return {"+", "added", Replay::green};
    if (!change.membership.after) return {"-", "removed", Replay::red};
    return {"~", "changed", Replay::yellow};
}

bool isOfStatus(const TableChange& change) {
    return change.kind != TableChange::Kind::membership;
}

/// The membership as it is now, or as it was before it went.
TableEntry entryOf(const TableChange& change) {
    const auto& membership = change.membership;
    return {Replay::placeOf(membership.status, membership.key),
            membership.after
                ? *membership.after
                : membership.before.value_or(Routing::Gmp::Tessel::FilterMode::exclude)};
}

std::string secondsText(std::int64_t timeMs) {
    char text[32];
    std::snprintf(text, sizeof text, "%lld.%03lld", static_cast<long long>(timeMs / 1000),
                  static_cast<long long>(timeMs % 1000));
    return text;
}

}  // namespace

bool takes(const TableFilter& filter, const TableChange& change) {
    if (!isOfStatus(change)) return filter.takes(entryOf(change));
    return filter.takesEmptyStatuses() && filter.takes(Replay::placeOf(change.membership.status));
}

std::string changeText(const TableChange& change, std::int64_t timeMs, bool isColoured) {
    const std::string time = secondsText(timeMs);
    const Name name = nameOf(change);
    const std::string what =
        isOfStatus(change)
            ? Replay::statusText(Replay::placeOf(change.membership.status)) + "  status"
            : Replay::membershipText(entryOf(change));
    return Replay::dayText(time) + "T" + Replay::clockText(time) + "Z  " +
           Replay::coloured(isColoured, name.colour, std::string(name.mark) + " " + what) + '\n';
}

std::string changeJson(const TableChange& change, std::int64_t timeMs) {
    std::string line = R"({"schemaVersion":1,"t":)" + secondsText(timeMs) + R"(,"change":")" +
                       std::string(nameOf(change).word) + R"(",)";
    if (isOfStatus(change)) {
        const Replay::StatusPlace status = Replay::placeOf(change.membership.status);
        line += Replay::jsonStatusPlace(status) + '}';
    } else {
        line += Replay::jsonMembership(entryOf(change)).substr(1);
    }
    return line + '\n';
}

}  // namespace Irbmc
