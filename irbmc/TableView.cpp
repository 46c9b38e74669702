#include "TableView.h"

#include <algorithm>
#include <utility>

#include "Columns.h"
#include "Ondel/VlanIntfId.h"
#include "Replay/Colours.h"
#include "Replay/JsonReport.h"
#include "Replay/JsonValue.h"
#include "Replay/Names.h"
#include "Replay/Places.h"
#include "Replay/Wording.h"

namespace Irbmc {

namespace {

using Replay::StatusContent;
using Replay::TableEntry;
using Routing::Gmp::Tessel::StatusReader;

Columns::Row rowOf(const TableEntry& entry) {
    const Replay::MembershipPlace& place = entry.place;
    const std::string vrf = Replay::printable(place.status.vrf);
    return {vrf.empty() ? "-" : vrf,
            Replay::appText(place.status.app),
            Replay::printable(place.intf.shortName()),
            Replay::sourceText(place.source),
            place.group.text(),
            std::string(Replay::modeText(entry.mode))};
}

StatusContent contentOf(StatusReader& reader, const TableFilter& filter) {
    StatusContent content{reader.key().name(), Replay::placeOf(reader.key()), {}};
    for (const auto& membership : reader) {
        TableEntry entry{Replay::placeOf(reader.key(), membership.key()), membership.filterMode()};
        if (filter.takes(entry)) content.memberships.push_back(std::move(entry));
    }
    std::sort(content.memberships.begin(), content.memberships.end(), Replay::tableOrder);
    return content;
}

}  // namespace

bool TableFilter::takes(const Replay::StatusPlace& status) const {
    return (!vrf || status.vrf == *vrf) && (!app || status.app == *app);
}

bool TableFilter::takes(const Replay::TableEntry& entry) const {
    const Replay::MembershipPlace& place = entry.place;
    if (mode && entry.mode != *mode) return false;
    if (!source.empty() && Replay::sourceText(place.source) != source) return false;
    if (vlan && place.intf != Ondel::VlanIntfId::vlanIdToIntfId(*vlan)) return false;
    if (group && place.group != *group) return false;
    return takes(place.status);
}

TableContent contentOf(const Routing::Gmp::Tessel::TableReader& reader, const TableFilter& filter) {
    auto found = reader.statuses();
    TableContent content;
    content.damage = std::move(found.damage);
    for (StatusReader& status : found.readers) {
        if (!filter.takes(Replay::placeOf(status.key()))) continue;
        StatusContent read = contentOf(status, filter);
        content.damage.insert(content.damage.end(), status.damage().begin(), status.damage().end());
        if (status.isGone() || (read.memberships.empty() && !filter.takesEmptyStatuses())) continue;
        content.statuses.push_back(std::move(read));
    }
    std::sort(content.statuses.begin(), content.statuses.end(),
              [](const StatusContent& left, const StatusContent& right) {
                  return Replay::statusOrder(left.status, right.status);
              });
    return content;
}

std::string sizeText(const TableContent& content) {
    std::size_t memberships = 0;
    for (const StatusContent& status : content.statuses)
        memberships += status.memberships.size();
    return std::to_string(content.statuses.size()) +
           (content.statuses.size() == 1 ? " status, " : " statuses, ") +
           Replay::countText(memberships, "membership");
}

void writeColumns(Replay::Sink& sink, const TableContent& content, bool isColoured) {
    const Columns::Row titles{"VRF", "APPLICATION", "VLAN INTERFACE", "SOURCE", "GROUP", "MODE"};
    Columns columns(titles);
    for (const StatusContent& status : content.statuses) {
        for (const TableEntry& entry : status.memberships)
            columns.fit(rowOf(entry));
    }
    sink.write(Replay::coloured(isColoured, Replay::bold, columns.line(titles)));
    for (const StatusContent& status : content.statuses) {
        for (const TableEntry& entry : status.memberships)
            sink.write(columns.line(rowOf(entry)));
    }
    const std::string last = sizeText(content) + "; " + std::to_string(content.bytes / 1024) +
                             " KiB; " + content.writer.text() + "\n";
    sink.write(Replay::coloured(isColoured, Replay::faint, last));
}

void writeJson(Replay::Sink& sink, const TableContent& content) {
    sink.write(R"({"schemaVersion":1,"statuses":)");
    Replay::writeStatuses(sink, content.statuses);
    sink.write(R"(,"damage":[)");
    for (const std::string& damage : content.damage) {
        if (&damage != &content.damage.front()) sink.write(",");
        sink.write(Replay::jsonString(damage));
    }
    sink.write(R"(],"bytes":)" + std::to_string(content.bytes) + R"(,"writer":")" +
               content.writer.stateText() + '"');
    if (content.writer.process != 0)
        sink.write(R"(,"writerProcess":)" + std::to_string(content.writer.process));
    sink.write("}\n");
}

}  // namespace Irbmc
