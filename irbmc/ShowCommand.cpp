#include "ShowCommand.h"

#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <system_error>
#include <thread>
#include <utility>

#include "Arguments.h"
#include "ChangeLine.h"
#include "Replay/Streams.h"
#include "Replay/Wording.h"
#include "Routing/Gmp/Tessel/TableGoneError.h"

namespace Irbmc {

namespace {

using Routing::Gmp::Tessel::TableChange;
using Routing::Gmp::Tessel::TableGoneError;
using Routing::Gmp::Tessel::TableReader;

/// How long a watcher looks at nothing but the table: what else can happen to it is seen that late.
constexpr std::chrono::milliseconds lookout{100};

std::int64_t millisecondsNow() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

}  // namespace

ShowCommand::ShowCommand(CLI::App& app)
    : Command(app, "show", "Show the GMP status table in a directory, while its writer runs.") {
    options()
        .add_option("DIR", directory_, "the table's directory (" + directory_ + ")")
        ->type_name("")
        ->check(notEmpty());
    options().add_flag("--json", isJson_, "for programs: one JSON object a line");
    options().add_flag("--watch", isWatch_,
                       "then follow the changes as they happen, one line each");
    options().add_option("--vrf", vrf_, "only this VRF")->type_name("NAME");
    const auto filter = [this](const char* name, std::string& value, const char* what,
                               const char* type) {
        options().add_option(name, value, what)->type_name(type)->check(notEmpty());
    };
    filter("--app", app_, "only this application", "NAME");
    filter("--vlan", vlan_, "only the interface of this VLAN", "NUMBER");
    filter("--source", source_, "only this source; * for any source", "ADDRESS");
    filter("--group", group_, "only this multicast group", "ADDRESS");
    filter("--mode", mode_, "only include, or only exclude", "MODE");
    filter("--color", colour_, "auto, always or never", "WHEN");
}

TableFilter ShowCommand::filter() const {
    TableFilter filter;
    filter.vrf = vrf_;
    if (!app_.empty()) filter.app = appArgument("--app", app_);
    if (!vlan_.empty()) filter.vlan = vlanArgument("--vlan", vlan_);
    if (!group_.empty()) filter.group = addressArgument("--group", group_);
    if (!mode_.empty()) filter.mode = modeArgument("--mode", mode_);
    if (!source_.empty()) {
        filter.source =
            source_ == "*" ? source_ : Replay::sourceText(addressArgument("--source", source_));
    }
    return filter;
}

bool ShowCommand::writeTable(Output& output, const TableReader& reader,
                             const TableFilter& filter) const {
    TableContent content = contentOf(reader, filter);
    std::error_code none;
    content.bytes = std::filesystem::file_size(directory_ + "/table", none);
    if (none) content.bytes = 0;
    content.writer = TableWriter::of(directory_);
    isJson_ ? writeJson(output, content) : writeColumns(output, content, isColoured_);
    output.flush();
    if (!isJson_) {
        for (const std::string& damage : content.damage)
            Replay::tell("irbmc: " + damage);
    }
    return content.damage.empty();
}

void ShowCommand::follow(Output& output, Watched& table, const TableFilter& filter) const {
    TableReader& reader = *table.reader;
    while (TableFileId::of(directory_) == table.file) {
        output.flush();
        output.checkReader();
        if (!reader.waitForChange(lookout)) continue;
        const TableReader::Changes news = reader.changes();
        if (news.isWalkNeeded) {
            Replay::tell("irbmc: changes were missed; the whole table follows");
            writeTable(output, reader, filter);
        }
        const std::int64_t now = millisecondsNow();
        for (const TableChange& change : news.changes) {
            if (!takes(filter, change)) continue;
            output.write(isJson_ ? changeJson(change, now) : changeText(change, now, isColoured_));
        }
    }
}

ShowCommand::Watched ShowCommand::open() const {
    // In this order: what replaces the file meanwhile is noticed.
    Watched table{TableFileId::of(directory_), nullptr};
    table.reader = std::make_unique<TableReader>(directory_);
    return table;
}

ShowCommand::Watched ShowCommand::awaitTable(Output& output) const {
    std::string told;
    while (true) {
        output.checkReader();
        try {
            return open();
        } catch (const std::exception& error) {
            const bool isThere = TableFileId::of(directory_).isThere();
            if (isThere && told != error.what()) Replay::tell("irbmc: " + (told = error.what()));
        }
        std::this_thread::sleep_for(lookout);
    }
}

void ShowCommand::watch(Output& output, Watched table, const TableFilter& filter) const {
    while (true) {
        try {
            follow(output, table, filter);
        } catch (const TableGoneError&) {
            // As it is told below: the reader noticed it first.
        }
        output.flush();
        Replay::tell("irbmc: " + directory_ + ": the table was removed or replaced");
        table = awaitTable(output);
        Replay::tell("irbmc: " + directory_ + ": there is a table again; the whole of it follows");
        writeTable(output, *table.reader, filter);
    }
}

int ShowCommand::run() {
    const TableFilter filter = this->filter();
    Output output(STDOUT_FILENO);
    isColoured_ = isColoured(output, colourArgument("--color", colour_));
    Watched table = open();
    const bool isSound = writeTable(output, *table.reader, filter);
    if (isWatch_) watch(output, std::move(table), filter);
    return isSound ? exitDone : exitUnmet;
}

}  // namespace Irbmc
