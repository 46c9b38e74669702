#include "Replay/JsonReport.h"

#include "Replay/JsonValue.h"

namespace Irbmc::Replay {

namespace {

void addMemberships(std::string& line, std::string_view key,
                    const std::vector<TableEntry>& entries) {
    if (entries.empty()) return;
    line += ",\"";
    line += key;
    line += "\":[";
    for (const TableEntry& entry : entries) {
        if (&entry != &entries.front()) line += ',';
        line += jsonMembership(entry, true);
    }
    line += ']';
}

void addCorruptions(std::string& line, const std::vector<std::string>& corruptions) {
    if (corruptions.empty()) return;
    line += R"(,"corruptions":[)";
    for (const std::string& corruption : corruptions) {
        if (&corruption != &corruptions.front()) line += ',';
        line += jsonString(corruption);
    }
    line += ']';
}

void addTrace(std::string& line, const std::vector<TraceLine>& trace) {
    if (trace.empty()) return;
    line += R"(,"trace":[)";
    for (const TraceLine& record : trace) {
        if (&record != &trace.front()) line += ',';
        line += R"({"level":)" + std::to_string(record.level) + R"(,"function":)" +
                jsonString(record.function) + R"(,"text":)" + jsonString(record.text) + '}';
    }
    line += ']';
}

}  // namespace

std::string jsonMembership(const TableEntry& entry, bool isWithStatus) {
    std::string text = "{";
    const MembershipPlace& place = entry.place;
    if (isWithStatus) {
        text += R"("vrf":)" + jsonString(place.status.vrf) + R"(,"app":)" +
                std::to_string(place.status.app) + ',';
    }
    text += R"("intf":)" + jsonString(place.intf.shortName());
    text += R"(,"source":")" + place.source.text() + R"(","group":")" + place.group.text();
    text += entry.mode == JoinMode::include ? R"(","mode":"include"})" : R"(","mode":"exclude"})";
    return text;
}

void JsonReport::event(std::uint64_t number, std::uint64_t line, const Event& event,
                       const Outcome& outcome) {
    if (isQuiet_) return;
    std::string text = R"({"event":)" + std::to_string(number) + R"(,"line":)" +
                       std::to_string(line) + R"(,"op":")" + std::string(opName(event.action)) +
                       '"';
    if (!event.time.empty()) text += R"(,"t":)" + event.time;
    addMemberships(text, "added", outcome.added);
    addMemberships(text, "changed", outcome.changed);
    addMemberships(text, "removed", outcome.removed);
    addCorruptions(text, outcome.corruptions);
    addTrace(text, outcome.trace);
    if (!outcome.error.empty()) text += R"(,"error":)" + jsonString(outcome.error);
    if (outcome.expectation) {
        addMemberships(text, "missing", outcome.expectation->missing);
        addMemberships(text, "unexpected", outcome.expectation->unexpected);
    }
    text += "}\n";
    sink_.write(text);
}

void writeStatuses(Sink& sink, const std::vector<StatusContent>& table) {
    sink.write("[");
    for (const StatusContent& status : table) {
        if (&status != &table.front()) sink.write(",");
        sink.write(R"({"name":)" + jsonString(status.name) + R"(,"vrf":)" +
                   jsonString(status.status.vrf) + R"(,"app":)" +
                   std::to_string(status.status.app) + R"(,"memberships":[)");
        for (const TableEntry& entry : status.memberships) {
            if (&entry != &status.memberships.front()) sink.write(",");
            sink.write(jsonMembership(entry, false));
        }
        sink.write("]}");
    }
    sink.write("]");
}

void JsonReport::finish(const std::vector<StatusContent>& table, const Totals& totals) {
    sink_.write(R"({"final":)");
    writeStatuses(sink_, table);
    sink_.write(R"(,"events":)" + std::to_string(totals.events) + R"(,"expectations":)" +
                std::to_string(totals.expectations) + R"(,"unmet":)" +
                std::to_string(totals.unmet) + "}\n");
}

}  // namespace Irbmc::Replay
