#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Routing/Gmp/Tessel/Storage/ChangeLog.h"
#include "Routing/Gmp/Tessel/Storage/Header.h"
#include "Routing/Gmp/Tessel/Storage/StatusList.h"
#include "Routing/Gmp/Tessel/Storage/StatusView.h"
#include "Routing/Gmp/Tessel/Storage/TableFile.h"

namespace Routing::Gmp::Tessel::Storage {

/// A reader's side of a whole table in shared memory. Belongs to one thread.
class TableView {
  public:
    /// @throws Rix::CorruptionError if the file is no table
    explicit TableView(std::shared_ptr<const TableFile> file);

    Dimensions dimensions() const { return header_.dimensions; }
    const ChangeLogReader& log() const { return log_; }
    /// Every status that lives.
    /// @param damage what is wrong with the list of statuses is added to it
    std::vector<StatusView> statuses(std::vector<std::string>& damage) const;
    /// Whose a place of the list of statuses is or was last; nothing if that cannot be told.
    std::optional<StatusIdentity> identity(std::uint16_t place) const;
    /// Everything that is wrong with the table, one text a fault.
    std::vector<std::string> faults() const;

  private:
    /// What the list of statuses held, at one moment if the sum over it is to be believed.
    struct ListReading {
        std::vector<StatusView> statuses;
        std::vector<std::string> damage;
        std::uint32_t sum = 0;
    };
    ListReading readList() const;

    void checkControl(std::vector<std::string>& faults) const;
    void checkLog(std::vector<std::string>& faults) const;
    void checkNames(const std::vector<StatusView>& statuses,
                    std::vector<std::string>& faults) const;
    void checkPages(const std::vector<StatusView>& statuses,
                    std::vector<std::string>& faults) const;

    std::shared_ptr<const TableFile> file_;
    const CheckedHeader header_;
    StatusList list_;
    const Control& control_;
    ChangeLogReader log_;
};

}  // namespace Routing::Gmp::Tessel::Storage
