#include "Replay/TextReport.h"

#include <algorithm>

#include "Columns.h"
#include "Replay/Colours.h"
#include "Replay/Wording.h"

namespace Irbmc::Replay {

namespace {

constexpr std::size_t numberWidth = 6;
constexpr std::size_t opWidth = 13;
constexpr std::size_t clockWidth = 12;

std::string padded(std::string text, std::size_t width) {
    if (text.size() < width) text.append(width - text.size(), ' ');
    return text;
}

std::string rightAligned(const std::string& text, std::size_t width) {
    return std::string(width - std::min(width, text.size()), ' ') + text;
}

Columns::Row rowOf(const TableEntry& entry) {
    return {printable(entry.place.intf.shortName()), sourceText(entry.place.source),
            entry.place.group.text(), std::string(modeText(entry.mode))};
}

std::string expectationText(const Expectation& expectation) {
    if (expectation.isMet()) return ": met";
    return ": not met, " + std::to_string(expectation.missing.size()) + " missing, " +
           std::to_string(expectation.unexpected.size()) + " unexpected";
}

}  // namespace

std::string TextReport::coloured(std::string_view colour, std::string_view text) const {
    return Replay::coloured(options_.isColoured, colour, text);
}

std::string TextReport::effect(std::string_view mark, std::string_view colour,
                               const std::string& text) {
    return std::string(indent_, ' ') + coloured(colour, std::string(mark) + " " + text) + "\n";
}

std::string TextReport::effects(std::string_view mark, std::string_view colour,
                                const std::vector<TableEntry>& entries) {
    std::string lines;
    for (const TableEntry& entry : entries) {
        lines += effect(mark, colour, membershipText(entry));
    }
    return lines;
}

void TextReport::begin(std::string_view title) {
    if (options_.isQuiet) return;
    sink_.write("Replaying " + printable(title) +
                ": each event, and the memberships of the GMP status table that it " +
                coloured(green, "+ added") + ", " + coloured(yellow, "~ changed") + " or " +
                coloured(red, "- removed") + ".\n");
}

std::string TextReport::timeColumn(const Event& event) {
    if (event.time.empty()) return day_.empty() ? "" : std::string(clockWidth + 2, ' ');
    const std::string day = dayText(event.time);
    if (!day.empty() && day != day_) {
        day_ = day;
        sink_.write("\n" + coloured(bold, day_ + " (UTC)") + "\n");
    }
    return padded(clockText(event.time), clockWidth) + "  ";
}

void TextReport::event(std::uint64_t number, std::uint64_t /*line*/, const Event& event,
                       const Outcome& outcome) {
    if (options_.isQuiet) return;
    const std::string time = timeColumn(event);
    const std::string count = rightAligned(std::to_string(number), numberWidth) + "  ";
    std::string text = count + coloured(faint, time) +
                       padded(std::string(opName(event.action)), opWidth) + "  " +
                       describe(event.action);
    indent_ = count.size() + time.size() + opWidth + 2;
    if (outcome.expectation) text += expectationText(*outcome.expectation);
    text += '\n';
    text += effects("+", green, outcome.added);
    text += effects("~", yellow, outcome.changed);
    text += effects("-", red, outcome.removed);
    if (outcome.expectation) {
        text += effects("missing:   ", red, outcome.expectation->missing);
        text += effects("unexpected:", red, outcome.expectation->unexpected);
    }
    for (const std::string& corruption : outcome.corruptions) {
        text += effect("damaged:", red, printable(corruption));
    }
    if (!outcome.error.empty()) text += effect("refused:", red, printable(outcome.error));
    if (!outcome.failure.empty()) text += effect("failed:", red, printable(outcome.failure));
    for (const TraceLine& record : outcome.trace) {
        text += effect(std::to_string(record.level), faint,
                       record.function + " | " + printable(record.text));
    }
    sink_.write(text);
}

void TextReport::finish(const std::vector<StatusContent>& table, const Totals& totals) {
    std::size_t memberships = 0;
    for (const StatusContent& status : table) {
        memberships += status.memberships.size();
    }
    if (!options_.isQuiet) sink_.write("\n");
    sink_.write(coloured(bold, "GMP status table: " + std::to_string(table.size()) +
                                   (table.size() == 1 ? " status, " : " statuses, ") +
                                   countText(memberships, "membership")) +
                "\n");
    for (const StatusContent& status : table) {
        sink_.write("\n" + coloured(bold, printable(status.name)) + "\n");
        block(status);
    }
    if (!options_.isQuiet) summary(totals);
}

void TextReport::block(const StatusContent& status) {
    if (status.memberships.empty()) {
        sink_.write("  empty\n");
        return;
    }
    const Columns::Row titles{"VLAN INTERFACE", "SOURCE", "GROUP", "MODE"};
    Columns columns(titles);
    for (const TableEntry& entry : status.memberships) {
        columns.fit(rowOf(entry));
    }
    sink_.write(columns.line(titles));
    for (const TableEntry& entry : status.memberships) {
        sink_.write(columns.line(rowOf(entry)));
    }
}

void TextReport::summary(const Totals& totals) {
    std::string text = "\n" + countText(totals.events, "event") + ": " +
                       countText(totals.added, "membership") + " added, " +
                       std::to_string(totals.changed) + " changed, " +
                       std::to_string(totals.removed) + " removed";
    if (totals.refused != 0) {
        text += "; " + coloured(red, countText(totals.refused, "event") + " refused");
    }
    if (totals.expectations != 0) {
        text += "; " + countText(totals.expectations, "expectation") + ", ";
        text += totals.unmet == 0 ? coloured(green, "all met")
                                  : coloured(red, std::to_string(totals.unmet) + " not met");
    }
    sink_.write(text + ".\n");
}

}  // namespace Irbmc::Replay
