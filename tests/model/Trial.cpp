#include "model/Trial.h"

#include <algorithm>

#include "model/Events.h"
#include "model/Sequences.h"
#include "model/Text.h"

namespace model {

namespace {

using Lines = std::vector<TraceLine>;

std::string show(const Lines& lines) {
    std::string out;
    for (const TraceLine& line : lines)
        out += text("    ", static_cast<unsigned>(line.level), " ", line.function, " | ", line.text,
                    "\n");
    return out;
}

std::string show(const Table& table) {
    std::string out;
    for (const auto& [status, entries] : table) {
        out += text("    ", status.vrf, " app ", status.app, "\n");
        for (const auto& [key, mode] : entries)
            out += text("      ", key.intf, " ", key.source, " ", key.group, " ", mode, "\n");
    }
    return out;
}

template <class Value>
std::string difference(const char* what, const Value& expected, const Value& seen) {
    return text(what, "\n  the model says:\n", expected, "  the subject does:\n", seen);
}

/// Puts the lines of the table's walk into an order of their own, if there are so many.
void sortWalk(Lines& lines, const Answer& answer) {
    if (lines.size() < answer.walkEnd) return;
    std::sort(lines.begin() + static_cast<std::ptrdiff_t>(answer.walkBegin),
              lines.begin() + static_cast<std::ptrdiff_t>(answer.walkEnd));
}

/// Whether every status and membership of `part` is in `whole`.
bool isWithin(const Table& part, const Table& whole) {
    return std::all_of(part.begin(), part.end(), [&](const auto& status) {
        const auto at = whole.find(status.first);
        return at != whole.end() && std::includes(at->second.begin(), at->second.end(),
                                                  status.second.begin(), status.second.end());
    });
}

}  // namespace

Trial::Trial(const SubjectMaker& makeSubject, Toggles toggles)
    : model_(toggles), subject_(makeSubject()) {}

std::optional<std::string> Trial::step(const Event& event) {
    if (undecided_ || !model_.accepts(event)) return std::nullopt;
    events_.push_back(event);
    const Answer answer = model_.apply(event);
    const Observation seen = subject_->apply(event);
    undecided_ = answer.walkCorrupt;
    if (undecided_) return std::nullopt;
    return compare(answer, seen);
}

std::optional<std::string> Trial::compare(const Answer& answer, const Observation& seen) {
    const std::string error = answer.error.value_or("");
    if (error != seen.error) {
        return difference("error", "    " + error + "\n", "    " + seen.error + "\n");
    }
    Lines expected = answer.trace;
    Lines got = seen.trace;
    if (answer.walkCut) {
        expected.resize(answer.walkBegin);
        got.resize(std::min(got.size(), answer.walkBegin));
    } else if (answer.walkEnd != 0) {
        sortWalk(expected, answer);
        sortWalk(got, answer);
    }
    if (expected != got) return difference("trace", show(expected), show(got));
    if (static_cast<std::size_t>(answer.corruptions) != seen.corruptions && !answer.walkCut) {
        return difference("corruptions", text("    ", static_cast<unsigned>(answer.corruptions)),
                          text("    ", seen.corruptions, "\n"));
    }
    return compareTable(answer);
}

/// After a walk that an error cut short, the table is anything between the one before the walk and
/// the one after a whole walk.
std::optional<std::string> Trial::compareTable(const Answer& answer) {
    Table seen = subject_->table();
    if (seen == model_.table()) return std::nullopt;
    if (!answer.walkCut || !isWithin(model_.table(), seen) || !isWithin(seen, answer.walkedTable)) {
        return difference("table", show(model_.table()), show(seen));
    }
    model_.tableIs(std::move(seen));
    return std::nullopt;
}

std::optional<Difference> tryEvents(const SubjectMaker& makeSubject, Toggles toggles,
                                    const std::vector<Event>& events) {
    Trial trial(makeSubject, toggles);
    for (const Event& event : events) {
        if (const auto what = trial.step(event)) return Difference{trial.events(), *what};
    }
    return std::nullopt;
}

Difference shrunk(const SubjectMaker& makeSubject, Toggles toggles, Difference difference) {
    const auto differs = [&](const std::vector<Event>& events) {
        auto found = tryEvents(makeSubject, toggles, events);
        if (found) difference = std::move(*found);
        return found.has_value();
    };
    rc::shrinkable::findLocalMin(shrinkable(difference.events), differs);
    return difference;
}

std::string recording(const Difference& difference, Toggles toggles) {
    std::string out;
    Model model(toggles);
    for (const auto& [name, on] : {std::pair{"OismGateway", toggles.oismGateway},
                                   std::pair{"OismMplsTunnel", toggles.oismMplsTunnel}}) {
        Event event = events::life(Op::toggle, on);
        event.name = name;
        if (!on) out += toJson(event) + "\n";
    }
    for (const Event& event : difference.events) {
        out += toJson(event) + "\n";
        model.apply(event);
    }
    return out + expectation(model.table()) + "\n";
}

}  // namespace model
