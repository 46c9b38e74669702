#include "Replay/Engine.h"

#include <algorithm>
#include <exception>
#include <iterator>
#include <new>
#include <system_error>
#include <utility>
#include <variant>

#include "Replay/FormatError.h"
#include "Replay/JsonValue.h"
#include "Toggle/FeatureToggle.h"
#include "Toggle/Toggle.h"
#include "Trace/TextSink.h"

namespace Irbmc::Replay {

namespace {

Trace::Handle& traceHandle() {
    return Trace::Handle::get("Pim::MembershipJoinStatusSm");
}

std::vector<TableEntry> sorted(std::vector<TableEntry> entries) {
    std::sort(entries.begin(), entries.end(), tableOrder);
    entries.erase(std::unique(entries.begin(), entries.end()), entries.end());
    return entries;
}

/// What the first list has and the second lacks. Both are in order.
std::vector<TableEntry> difference(const std::vector<TableEntry>& left,
                                   const std::vector<TableEntry>& right) {
    std::vector<TableEntry> entries;
    std::set_difference(left.begin(), left.end(), right.begin(), right.end(),
                        std::back_inserter(entries), tableOrder);
    return entries;
}

}  // namespace

Engine::Engine(const Options& options)
    : trace_(options.trace),
      machine_(options.library),
      inputs_(*this),
      table_(options.tableDirectory, *this) {
    // A recording says itself how its toggles were: the files of this computer do not count.
    ::Toggle::forget();
    ::Toggle::toggleDirectoryIs("/dev/null");
    // Asked for in any case: what the environment says of a handle is read then.
    Trace::Handle& handle = traceHandle();
    if (trace_.levels == Trace::Levels()) return;
    handle.selectionIs(trace_);
    Trace::textSinkIs([this](const Trace::TextRecord& record) { onTrace(record); });
}

Engine::~Engine() {
    try {
        if (machine_.isRunning()) abandon();
    } catch (const std::exception&) {
        // No memory or no descriptor for the table that the machine would go on with.
        machine_.leave();
    }
    if (trace_.levels == Trace::Levels()) return;
    Trace::textSinkIs({});
    traceHandle().selectionIs({});
}

void Engine::onCorruption(std::string_view message) {
    if (outcome_ != nullptr) outcome_->corruptions.emplace_back(message);
}

void Engine::onTrace(const Trace::TextRecord& record) {
    if (outcome_ == nullptr || &record.handle != &traceHandle()) return;
    outcome_->trace.push_back(
        {record.level, std::string(record.function), std::string(record.text)});
}

Outcome Engine::apply(const Event& event) {
    Outcome outcome;
    outcome_ = &outcome;
    try {
        std::visit([this](const auto& action) { perform(action); }, event.action);
    } catch (const FormatError&) {
        outcome_ = nullptr;
        throw;
    } catch (const std::system_error& error) {
        outcome.failure = error.what();
    } catch (const std::bad_alloc&) {
        outcome.failure = "out of memory";
    } catch (const std::exception& error) {
        outcome.error = error.what();
    }
    outcome_ = nullptr;
    table_.changesTo(outcome);
    return outcome;
}

void Engine::needMachine(std::string_view op) const {
    if (!machine_.isRunning()) {
        throw FormatError(std::string(op) + " without a state machine that runs");
    }
}

void Engine::perform(const Toggle& event) const {
    if (!::Toggle::isKnown(event.name)) {
        throw FormatError("no toggle " + jsonString(event.name));
    }
    if (hasStarted_) throw FormatError("a toggle after the first start");
    ::Toggle::overrideIs(event.name, event.on);
}

void Engine::perform(const Start& event) {
    if (machine_.isRunning()) throw FormatError("start while a state machine runs");
    hasStarted_ = true;
    inputs_.membershipJoinStatus->nameIs(event.name);
    machine_.start(event, inputs_, table_.statusColl());
}

void Engine::perform(const Stop& /*event*/) {
    needMachine("stop");
    machine_.stop();
}

void Engine::perform(const Abandon& /*event*/) {
    needMachine("abandon");
    abandon();
}

void Engine::abandon() {
    // A process that is killed leaves its memory to the system and touches nothing more. Here the
    // machine must be destroyed to give its memory back, so everything that its destruction would
    // touch is taken out of its reach first.
    Outcome* const outcome = std::exchange(outcome_, nullptr);
    const std::vector<Inputs::Arming> armed = inputs_.disarm();
    table_.handOver();
    machine_.stop();
    for (const Inputs::Arming& arming : armed) {
        std::visit([this](const auto& event) { inputs_.apply(event); }, arming);
    }
    outcome_ = outcome;
}

void Engine::perform(const Reap& /*event*/) {
    needMachine("reap");
    machine_.reap();
}

void Engine::perform(const Notifications& event) {
    needMachine("notifications");
    machine_.notificationsAre(event.on);
}

void Engine::perform(const SbdReplace& event) {
    inputs_.apply(event);
    if (!machine_.isRunning()) return;
    if (event.maps == SbdMaps::vxlan) {
        machine_.enabledStatusIs(inputs_);
    } else {
        machine_.gmpProxyStatusIs(inputs_);
    }
}

void Engine::perform(const Expect& event) {
    const std::vector<TableEntry> expected = sorted(event.table);
    std::vector<TableEntry> found;
    for (const StatusContent& status : table_.content()) {
        found.insert(found.end(), status.memberships.begin(), status.memberships.end());
    }
    outcome_->expectation = Expectation{difference(expected, found), difference(found, expected)};
}

}  // namespace Irbmc::Replay
