#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "model/Events.h"
#include "model/Model.h"
#include "model/Text.h"

namespace model {

/// A model in a small fabric: VRF red on vlan10 and on its SBD VLAN 100, under MPLS.
class ModelTest : public testing::Test {
  protected:
    void has(const Event& event) {
        ASSERT_TRUE(model().accepts(event)) << toJson(event);
        answer_ = model().apply(event);
    }

    void fabric() {
        has(events::ofIntf(Op::l3Set, "vlan10", "red"));
        has(events::ofIntf(Op::l3Set, "vlan100", "red"));
        has(events::ofVrf(Op::mplsVrfSet, "red", 100));
        has(events::ofVrf(Op::mplsSbdSet, "red", 100));
    }

    /// The table, an entry a string: "red vlan10 10.0.0.1 239.1.1.1 include".
    std::vector<std::string> table() {
        std::vector<std::string> lines;
        for (const auto& [status, entries] : model().table()) {
            for (const auto& [key, mode] : entries) {
                lines.push_back(
                    text(status.vrf, " ", key.intf, " ", key.source, " ", key.group, " ", mode));
            }
        }
        return lines;
    }

    /// The texts of the last event's trace, of one level or of all.
    std::vector<std::string> texts(int level = -1) const {
        std::vector<std::string> lines;
        for (const TraceLine& line : answer_.trace) {
            if (level < 0 || line.level == level) lines.push_back(line.text);
        }
        return lines;
    }

    /// Whether the last event traced this text.
    bool traced(const std::string& wanted) const {
        const auto lines = texts();
        return std::find(lines.begin(), lines.end(), wanted) != lines.end();
    }

    const Answer& answer() const { return answer_; }
    std::string error() const { return answer_.error.value_or(""); }
    Model& model() { return model_ ? *model_ : model_.emplace(Toggles{}); }
    void toggle(const char* name, bool on) {
        Event event = events::life(Op::toggle, on);
        event.name = name;
        has(event);
    }

  private:
    std::optional<Model> model_;
    Answer answer_;
};

}  // namespace model
