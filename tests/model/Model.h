#pragma once

#include <optional>
#include <string>

#include "model/Answer.h"
#include "model/Event.h"
#include "model/Machine.h"

namespace model {

/// What the system must do, event by event: the inputs, the table and at most one machine, as
/// plain values. It shares nothing with the library but the platform's value types, and it is
/// meant to be read whole beside the rules. Owned by a test, used from one thread.
class Model {
  public:
    explicit Model(Toggles toggles = {}) { world_.toggles = toggles; }
    Model(const Model&) = delete;
    Model& operator=(const Model&) = delete;

    /// Whether a replay would accept the event as it stands now: what it needs is there. Values
    /// that the system itself refuses are acceptable.
    bool accepts(const Event& event) const;

    /// Carries out an event that is accepted.
    Answer apply(const Event& event);

    const Table& table() const { return world_.table; }
    const Inputs& inputs() const { return world_.inputs; }
    const Toggles& toggles() const { return world_.toggles; }
    bool isRunning() const { return machine_.has_value(); }

    /// Takes over the real table, where what became of it depends on its own order.
    void tableIs(Table table) { world_.table = std::move(table); }

    /// All that decides what happens next, as text: equal texts, equal futures.
    std::string stateText() const;

  private:
    std::shared_ptr<VlanJoin> vlan(std::uint32_t number) const;
    std::shared_ptr<GroupJoin> group(const Event& event) const;
    std::shared_ptr<SourceJoin> source(const Event& event) const;

    void carryOut(const Event& event);
    void start(const Event& event);
    void changeJoins(const Event& event);
    void changeFabric(const Event& event);
    void changePegDr(const Event& event);
    void changeIntf(const Event& event);
    void changePim(const Event& event);
    void changeMaps(const Event& event);
    void replaceMaps(const Event& event, bool ofVxlan);
    void changeVrfToSbd(const Event& event, bool ofVxlan);
    void changeSbdToVrf(const Event& event, bool ofVxlan);
    void changeTable(const Event& event);

    void setVlan(std::uint32_t number, const std::vector<GroupSpec>& groups);
    void delVlan(std::uint32_t number);
    void setGroup(const Event& event, const std::vector<SourceSpec>& sources);
    void delGroup(const Event& event);
    void setSource(const Event& event, const SourceSpec& spec);
    void delSource(const Event& event);
    void changeSet(const Event& event, Mode set, bool add);
    void join(const Event& event);
    void leave(const Event& event);

    bool everStarted_ = false;
    World world_;
    std::optional<Machine> machine_;
};

}  // namespace model
