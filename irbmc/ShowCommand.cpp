#include "ShowCommand.h"

#include <unistd.h>

#include <chrono>
#include <iostream>
#include <stdexcept>

#include "ChangeLine.h"
#include "Replay/Wording.h"

namespace Irbmc {

namespace {

using Routing::Gmp::Tessel::TableChange;
using Routing::Gmp::Tessel::TableReader;

std::int64_t millisecondsNow() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

}  // namespace

ShowCommand::ShowCommand(CLI::App& app)
    : Command(app, "show", "Show the GMP status table in a directory, while its writer runs.") {
    options()
        .add_option("DIR", directory_,
                    std::string("the table's directory (") + defaultTableDirectory + ")")
        ->type_name("")
        ->check(notEmpty());
    options().add_flag("--json", isJson_, "for programs: one JSON object a line");
    options().add_flag("--watch", isWatch_,
                       "then follow the changes as they happen, one line each");
    options().add_option("--vrf", vrf_, "only this VRF")->type_name("NAME");
    options()
        .add_option("--vlan", vlan_, "only the interface of this VLAN")
        ->type_name("NUMBER")
        ->check(notEmpty());
    options()
        .add_option("--group", group_, "only this multicast group")
        ->type_name("ADDRESS")
        ->check(notEmpty());
}

TableFilter ShowCommand::filter() const {
    TableFilter filter{vrf_, vlan_, {}};
    if (group_.empty()) return filter;
    filter.group = Ondel::IpGenAddr::parse(group_);
    if (!filter.group) {
        throw std::invalid_argument("--group takes an IPv4 or IPv6 address, not " + group_);
    }
    return filter;
}

bool ShowCommand::writeTable(Output& output, const TableReader& reader,
                             const TableFilter& filter) const {
    const TableContent content = contentOf(reader, filter);
    isJson_ ? writeJson(output, content) : writeColumns(output, content);
    output.flush();
    if (!isJson_) {
        for (const std::string& damage : content.damage)
            std::cerr << "irbmc: " << Replay::printable(damage) << '\n';
    }
    return content.damage.empty();
}

void ShowCommand::watch(Output& output, TableReader& reader, const TableFilter& filter) const {
    while (true) {
        output.flush();
        reader.waitForChange();
        const TableReader::Changes news = reader.changes();
        if (news.isWalkNeeded) {
            std::cerr << "irbmc: changes were missed; the whole table follows\n";
            writeTable(output, reader, filter);
        }
        const std::int64_t now = millisecondsNow();
        for (const TableChange& change : news.changes) {
            if (!takes(filter, change)) continue;
            output.write(isJson_ ? changeJson(change, now) : changeText(change, now));
        }
    }
}

int ShowCommand::run() {
    const TableFilter filter = this->filter();
    TableReader reader(directory_);
    Output output(STDOUT_FILENO);
    const bool isSound = writeTable(output, reader, filter);
    if (isWatch_) watch(output, reader, filter);
    return isSound ? exitDone : exitUnmet;
}

}  // namespace Irbmc
