#include "Replay/JsonReport.h"

#include "Replay/JsonValue.h"
#include "Replay/Names.h"

namespace Irbmc::Replay {

namespace {

/// The end of every object of a report. The version grows when a field changes its meaning or goes.
const std::string schemaVersion = R"(,"schemaVersion":1)";

/// What a membership has beside its status.
std::string membersOf(const TableEntry& entry) {
    return R"("intf":)" + jsonString(entry.place.intf.shortName()) + R"(,"source":")" +
           entry.place.source.text() + R"(","group":")" + entry.place.group.text() +
           (entry.mode == JoinMode::include ? R"(","mode":"include")" : R"(","mode":"exclude")");
}

void addMemberships(std::string& line, std::string_view key,
                    const std::vector<TableEntry>& entries) {
    if (entries.empty()) return;
    line += ",\"";
    line += key;
    line += "\":[";
    for (const TableEntry& entry : entries) {
        if (&entry != &entries.front()) line += ',';
        line += jsonMembership(entry);
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

std::string jsonStatusPlace(const StatusPlace& place) {
    return R"("vrf":)" + jsonString(place.vrf) + R"(,"app":)" + std::to_string(place.app) +
           R"(,"appName":")" + appText(place.app) + '"';
}

std::string jsonMembership(const TableEntry& entry) {
    return '{' + jsonStatusPlace(entry.place.status) + ',' + membersOf(entry) + '}';
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
    const std::string& error = outcome.failure.empty() ? outcome.error : outcome.failure;
    if (!error.empty()) text += R"(,"error":)" + jsonString(error);
    if (outcome.expectation) {
        addMemberships(text, "missing", outcome.expectation->missing);
        addMemberships(text, "unexpected", outcome.expectation->unexpected);
    }
    sink_.write(text + schemaVersion + "}\n");
}

void writeStatuses(Sink& sink, const std::vector<StatusContent>& table) {
    sink.write("[");
    for (const StatusContent& status : table) {
        if (&status != &table.front()) sink.write(",");
        sink.write(R"({"name":)" + jsonString(status.name) + ',' + jsonStatusPlace(status.status) +
                   R"(,"memberships":[)");
        for (const TableEntry& entry : status.memberships) {
            if (&entry != &status.memberships.front()) sink.write(",");
            sink.write('{' + membersOf(entry) + '}');
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
                std::to_string(totals.unmet) + R"(,"refused":)" + std::to_string(totals.refused) +
                schemaVersion + "}\n");
}

}  // namespace Irbmc::Replay
