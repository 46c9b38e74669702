#include "ReplayCommand.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <new>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <utility>
#include <variant>

#include "Arguments.h"
#include "Library.h"
#include "Replay/EventReader.h"
#include "Replay/FormatError.h"
#include "Replay/JsonReport.h"
#include "Replay/LineReader.h"
#include "Replay/Streams.h"
#include "Replay/TextReport.h"
#include "Replay/Wording.h"

namespace Irbmc {

namespace {

using Replay::Engine;
using Replay::Event;
using Replay::FormatError;
using Replay::LineReader;
using Replay::Outcome;
using Replay::Report;
using Replay::tell;
using Replay::Totals;

/// A recording that is open for reading: a file, or standard input by the name "-".
class Recording {
  public:
    explicit Recording(const std::string& name)
        : descriptor_(name == "-" ? STDIN_FILENO : ::open(name.c_str(), O_RDONLY | O_CLOEXEC)) {
        if (descriptor_ < 0) throw std::system_error(errno, std::generic_category(), name);
    }
    Recording(const Recording&) = delete;
    Recording& operator=(const Recording&) = delete;
    ~Recording() {
        if (descriptor_ != STDIN_FILENO) ::close(descriptor_);
    }

    int descriptor() const { return descriptor_; }

  private:
    int descriptor_;
};

/// What of the trace the option spells; nothing if it was not given.
Trace::Selection traceOf(const std::optional<std::string>& text) {
    if (!text) return {};
    try {
        return Trace::Selection::parse(*text);
    } catch (const std::invalid_argument& error) {
        throw std::invalid_argument(std::string("--trace: ") + error.what());
    }
}

/// The event of a line; nothing for a line that is skipped. A comment may be of any length.
std::optional<Event> eventOf(const LineReader::Line& line) {
    const bool isSkipped = Replay::isSkipped(line.text);
    const bool isComment = isSkipped && line.text.find('#') != std::string_view::npos;
    if (line.isCut && !isComment) {
        throw FormatError("the line is longer than " + std::to_string(LineReader::maxLineLength) +
                          " bytes");
    }
    if (isSkipped) return std::nullopt;
    return Replay::readEvent(line.text);
}

void count(Totals& totals, const Outcome& outcome) {
    ++totals.events;
    totals.added += outcome.added.size();
    totals.changed += outcome.changed.size();
    totals.removed += outcome.removed.size();
    if (!outcome.error.empty()) ++totals.refused;
    if (!outcome.expectation) return;
    ++totals.expectations;
    if (!outcome.expectation->isMet()) ++totals.unmet;
}

/// Whether an event means nothing to anybody but a state machine.
bool isForMachine(const Event& event) {
    using Replay::Expect, Replay::TableDel, Replay::TableSet, Replay::TableStatus;
    return !std::holds_alternative<TableSet>(event.action) &&
           !std::holds_alternative<TableDel>(event.action) &&
           !std::holds_alternative<TableStatus>(event.action) &&
           !std::holds_alternative<Expect>(event.action);
}

}  // namespace

ReplayCommand::ReplayCommand(CLI::App& app)
    : Command(app, "replay",
              "Feed a recording to the state machine and report, after each event, what became "
              "of the GMP status table.") {
    options()
        .add_option("FILE", file_, "the recording, JSON Lines; - for standard input")
        ->required()
        ->check(notEmpty());
    options().add_flag("--json", isJson_, "report for programs: one JSON object a line");
    options().add_flag("-q,--quiet", isQuiet_, "report the final table alone");
    options().add_flag("--strict", isStrict_, "end at the first event that the system refuses");
    options()
        .add_option("--trace", trace_,
                    "report the trace messages of these levels with each event: 8, 0-9, 2,3,7; "
                    "of some VLANs, VRFs or groups alone: 8@vlan=10,vrf=red,group=239.1.1.1")
        ->type_name("LEVELS[@FILTER]");
    options()
        .add_option("--table", tableDirectory_,
                    "keep the table in this directory, where it outlives the command")
        ->type_name("DIR")
        ->check(notEmpty());
    options()
        .add_option("--toggle", toggles_, "set a feature toggle ahead of the recording")
        ->type_name("NAME=on|off")
        ->allow_extra_args(false);
    options().add_option("--color", colour_, "auto, always or never")->type_name("WHEN");
    options()
        .add_option("--library", library_,
                    "the state machine's library, if not the one installed with the command")
        ->type_name("FILE")
        ->check(notEmpty());
}

void ReplayCommand::setToggles(Engine& engine) const {
    for (const std::string& toggle : toggles_) {
        const auto equals = toggle.find('=');
        const std::string state = equals == std::string::npos ? "" : toggle.substr(equals + 1);
        if (state != "on" && state != "off") {
            throw std::invalid_argument("--toggle takes NAME=on or NAME=off, not " + toggle);
        }
        try {
            engine.apply({Replay::Toggle{toggle.substr(0, equals), state == "on"}});
        } catch (const FormatError& error) {
            throw std::invalid_argument(std::string("--toggle: ") + error.what());
        }
    }
}

std::unique_ptr<Report> ReplayCommand::report(Output& output) const {
    if (isJson_) return std::make_unique<Replay::JsonReport>(output, isQuiet_);
    return std::make_unique<Replay::TextReport>(
        output, Replay::TextReport::Options{
                    isQuiet_, isColoured(output, colourArgument("--color", colour_))});
}

ReplayCommand::Ending ReplayCommand::replay(LineReader& lines, Engine& engine, Report& report,
                                            Output& output, Course& course) const {
    while (true) {
        // What was found so far is not held back while the next line is waited for.
        if (!lines.hasBuffered()) output.flush();
        const auto line = lines.next();
        if (!line) return {};
        const std::string place = file_ + ":" + std::to_string(line->number) + ": ";
        try {
            const auto event = eventOf(*line);
            if (!event) continue;
            course.isForMachine = course.isForMachine || isForMachine(*event);
            const Outcome outcome = engine.apply(*event);
            count(course.totals, outcome);
            report.event(course.totals.events, line->number, *event, outcome);
            if (!outcome.failure.empty()) return {exitFailure, place + outcome.failure};
            if (!outcome.error.empty()) {
                if (course.firstRefusal.empty()) course.firstRefusal = place + outcome.error;
                if (isStrict_) return {exitUnmet, ""};
            }
            if (isQuiet_ && outcome.expectation && !outcome.expectation->isMet()) {
                tell(place + "the expectation is not met");
            }
        } catch (const FormatError& error) {
            return {exitFailure, place + error.what()};
        } catch (const std::bad_alloc&) {
            return {exitFailure, place + "out of memory"};
        }
    }
}

/// What a report may not show, or not so that it is seen.
void ReplayCommand::tellAfterwards(const Course& course, bool wasWhole, bool hasStarted) const {
    const Totals& totals = course.totals;
    if (totals.refused != 0) {
        tell(file_ + ": " + std::to_string(totals.refused) + " of " +
             Replay::countText(totals.events, "event") +
             (totals.refused == 1 ? " was refused, at " : " were refused, the first at ") +
             course.firstRefusal);
    }
    if (wasWhole && course.isForMachine && !hasStarted) {
        tell(file_ + R"(: hint: no state machine ran: an event {"op":"start"} starts one)");
    }
}

int ReplayCommand::run() {
    const Trace::Selection trace = traceOf(trace_);
    Output output(STDOUT_FILENO);
    const auto report = this->report(output);
    const Recording recording(file_);
    Engine engine({library_.empty() ? installedLibrary() : std::filesystem::path(library_),
                   tableDirectory_, trace});
    setToggles(engine);
    report->begin(file_ == "-" ? "standard input" : file_);
    LineReader lines(recording.descriptor());
    Course course;
    Ending ending;
    try {
        ending = replay(lines, engine, *report, output, course);
    } catch (const OutputError&) {
        throw;
    } catch (const std::system_error& error) {
        ending = {exitFailure, file_ + ": cannot be read: " + error.code().message()};
    } catch (const std::bad_alloc&) {
        ending = {exitFailure, file_ + ": out of memory"};
    }
    try {
        report->finish(engine.table(), course.totals);
        output.flush();
    } catch (const std::bad_alloc&) {
        if (ending.message.empty()) ending = {exitFailure, file_ + ": out of memory"};
        output.flush();
    }
    tellAfterwards(course, ending.status == exitDone, engine.hasStarted());
    if (!ending.message.empty()) tell(ending.message);
    if (ending.status != exitDone) return ending.status;
    return course.totals.unmet == 0 ? exitDone : exitUnmet;
}

}  // namespace Irbmc
