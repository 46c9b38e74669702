#pragma once

#include <optional>

#include "Routing/Gmp/Tessel/StatusColl.h"
#include "Routing/Gmp/Tessel/TableReader.h"
#include "Workload.h"

namespace Bench {

/// The GMP status table, with one status, from the writer's side.
class OurTable {
  public:
    static constexpr const char* name = "table";

    OurTable(const std::filesystem::path& directory, std::uint64_t)
        : coll_(Routing::Gmp::Tessel::StatusColl::open(directory)),
          status_(coll_->gmpStatus(key())) {
        if (status_) return;
        status_ = Lumo::make<Routing::Gmp::Tessel::Status>("bench.irb");
        coll_->gmpStatusIs(key(), status_);
    }

    void put(const Membership& membership) { status_->membershipIs(membership); }
    std::optional<FilterMode> find(const RouteIntfKey& wanted) const {
        const Membership found = status_->membership(wanted);
        if (found.key() != wanted) return std::nullopt;
        return found.filterMode();
    }
    void del(const RouteIntfKey& wanted) { status_->membershipDel(wanted); }
    template <class Visit>
    void iterate(Visit visit) const {
        for (const Membership& membership : *status_)
            visit(membership);
    }

  private:
    static Routing::Gmp::Tessel::VrfApp key() {
        return {L3::VrfName("bench"), Routing::Gmp::Tessel::App::irb};
    }

    Lumo::Ptr<Routing::Gmp::Tessel::StatusColl> coll_;
    Lumo::Ptr<Routing::Gmp::Tessel::Status> status_;
};

/// The same table, read as another process reads it.
class OurReader {
  public:
    static constexpr const char* name = "reader";

    OurReader(const std::filesystem::path& directory, std::uint64_t)
        : reader_(directory), status_(reader_.statuses().readers.at(0)) {}

    std::optional<FilterMode> find(const RouteIntfKey& wanted) {
        const auto found = status_.membership(wanted);
        expect(found.damage.empty(), "damage");
        if (!found.isPresent) return std::nullopt;
        return found.membership.filterMode();
    }
    template <class Visit>
    void iterate(Visit visit) {
        for (const Membership& membership : status_)
            visit(membership);
    }

  private:
    Routing::Gmp::Tessel::TableReader reader_;
    Routing::Gmp::Tessel::StatusReader status_;
};

}  // namespace Bench
