#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Routing/Gmp/Tessel/Membership.h"
#include "Routing/Gmp/Tessel/MembershipChange.h"
#include "Routing/Gmp/Tessel/Storage/ChangeLog.h"
#include "Routing/Gmp/Tessel/Storage/Directory.h"
#include "Routing/Gmp/Tessel/Storage/FileWatch.h"
#include "Routing/Gmp/Tessel/Storage/Format.h"
#include "Routing/Gmp/Tessel/Storage/Guard.h"
#include "Routing/Gmp/Tessel/Storage/Header.h"
#include "Routing/Gmp/Tessel/Storage/PageAllocator.h"
#include "Routing/Gmp/Tessel/Storage/ProcessMark.h"
#include "Routing/Gmp/Tessel/Storage/Record.h"
#include "Routing/Gmp/Tessel/Storage/Sleepers.h"
#include "Routing/Gmp/Tessel/Storage/StatusList.h"
#include "Routing/Gmp/Tessel/Storage/TableFile.h"
#include "Routing/Gmp/Tessel/Storage/WriterLock.h"
#include "Routing/Gmp/Tessel/TableAccess.h"
#include "Routing/Gmp/Tessel/TableOptions.h"
#include "Routing/Gmp/Tessel/VrfApp.h"

namespace Routing::Gmp::Tessel::Storage {

class StatusStore;

/// The writer's side of a whole table: its file, its free pages, its log and its statuses.
///
/// Owned by a StatusColl, from which it may move to another. Belongs to the writer's thread.
class Table {
  public:
    /// Whom the table tells, in the writer's own process, what happens to it.
    struct Listener {
        std::function<void(std::string_view message)> corruption;
        std::function<void(const MembershipChange&)> change;
    };

    /// What goes with a status: its pages, and its memberships where somebody observes them.
    struct StatusContent {
        std::vector<Directory::Extent> extents;
        std::vector<Membership> memberships;
    };

    /// The table in a directory; both are made if they are missing. Statuses that are damaged are
    /// lost, and reported.
    /// @throws std::system_error if the operating system refuses, or another writer is there
    /// @throws Rix::CorruptionError if the file is no table, or its header is damaged
    static std::unique_ptr<Table> open(const std::filesystem::path& path, const TableAccess& access,
                                       const TableOptions& options);
    /// An empty table without a file, private to this process.
    static std::unique_ptr<Table> anonymous();

    Table(const Table&) = delete;
    Table& operator=(const Table&) = delete;
    ~Table();

    /// Ahead of every operation: whether the table may be used at all, here and now.
    /// @throws std::logic_error   in a process that was forked from the table's own
    /// @throws std::system_error  if the file was cut short
    /// @throws TableGoneError     if the directory or a file in it was removed or replaced
    void check() {
        checkMemory();
        if (watch_ && watch_->isDue()) lookAtFiles();
    }
    /// The same but for the last, which a mere look at the table does not tell.
    void checkMemory() const {
        if (!process_.isHere()) raiseForked();
        file_->checkWhole();
    }
    void checkWhole() const { file_->checkWhole(); }
    /// check(), whether or not the files were looked at just now.
    void checkFiles();

    /// Whom to tell of damage; hears at once what was found before.
    void corruptionListenerIs(std::function<void(std::string_view message)> listener);
    void changeListenerIs(std::function<void(const MembershipChange&)> listener) {
        listener_.change = std::move(listener);
    }
    void reportCorruption(std::string_view message);

    /// The statuses that the table holds, by their place among the entries.
    const std::map<std::uint16_t, std::unique_ptr<StatusStore>>& statuses() const {
        return statuses_;
    }
    /// Adds a status that the table does not hold.
    /// @throws std::system_error if memory is full
    /// @throws Rix::RangeError if there are too many statuses
    StatusStore& statusAdd(const VrfApp& key);
    /// Removes a status with all its memberships, and destroys its store.
    /// @param content what it holds, as contentOf tells
    void statusDel(StatusStore& status, const StatusContent& content);
    /// What a status holds, for statusDel. Damage met on the way is reported and cleared away.
    StatusContent contentOf(StatusStore& status) const;

    // For StatusStore.

    const TableFile& file() const { return *file_; }
    /// The same for a reader in this process, which may outlive the table.
    std::shared_ptr<const TableFile> sharedFile() const { return file_; }
    std::shared_ptr<Sleepers> sleepers() const { return sleepers_; }
    /// Nothing for a table without a file.
    const std::optional<FileWatch>& watch() const { return watch_; }
    const HashSeed& hashSeed() const { return header_.hashSeed; }
    const CheckedHeader& header() const { return header_; }
    Dimensions dimensions() const { return header_.dimensions; }
    /// Publishes the root of a status, in the place of the one that it had.
    void rootChanged(const StatusStore& status, std::uint64_t before);
    /// Writes a status's entry and the control page again if somebody else changed them.
    /// @returns whether somebody did
    bool mendEntry(const StatusStore& status);
    /// Free pages, for a run of that many; the file grows if there are none.
    /// @throws std::system_error if it cannot
    PageNumber pagesTake(PageNumber pages);
    void pagesGive(PageNumber first, PageNumber pages) { allocator_.free(first, pages); }
    /// Logs a change that took effect and wakes the readers that wait for one.
    void changed(const LoggedChange& change) {
        log_->append(change);
        wakeCalls_.changed(log_->count());
    }
    bool isObserved() const { return static_cast<bool>(listener_.change); }
    void observe(const MembershipChange& change) const { listener_.change(change); }

  private:
    Table(TableFile file, Sleepers sleepers, std::optional<FileWatch> watch,
          std::optional<WriterLock> lock);

    void lookAtFiles();
    [[noreturn]] void raiseForked() const;

    StatusList list() const { return {*file_, header_.dimensions}; }
    Control& control() const { return file_->at<Control>(controlPage); }

    // The start: TableStart.cpp.

    void openControl();
    void openStatuses();
    /// Where statuses were met.
    struct StatusPlaces {
        std::unordered_map<VrfApp, std::uint16_t> byName;
        std::unordered_map<std::uint64_t, std::uint16_t> byId;
    };
    /// Keeps the newer one of two statuses of one name or identifier.
    void openStatus(std::uint16_t place, const EntryReading& entry, StatusPlaces& places);
    std::string entryText(std::uint16_t place, const StatusIdentity& identity) const;
    /// Who uses which pages.
    struct PageUses {
        std::map<PageNumber, PageNumber> runs;  ///< first to behind last
        std::vector<std::uint16_t> lost;        ///< the places of those who use what others do
    };
    /// @param statuses the earlier one of two that use a page is right
    PageUses pageUses(const std::vector<const StatusStore*>& statuses) const;
    void openFreePages();
    void statusesGuardIs();

    /// A place for a new status, its page there.
    std::uint16_t freeStatusPlace();
    StatusStore& statusMake(std::uint16_t place, const StatusIdentity& identity);

    /// How many reports are kept for a listener to come.
    static constexpr std::size_t mostReports = 1000;

    const ProcessMark process_;
    std::optional<WriterLock> lock_;
    std::shared_ptr<TableFile> file_;
    std::optional<FileWatch> watch_;
    const CheckedHeader header_;
    std::optional<ChangeLogWriter> log_;
    std::shared_ptr<Sleepers> sleepers_;
    WakeCalls wakeCalls_;
    PageAllocator allocator_;
    Listener listener_;
    std::vector<std::string> reports_;  ///< those that nobody heard yet
    std::map<std::uint16_t, std::unique_ptr<StatusStore>> statuses_;
    Guard guard_;                   ///< over the statuses
    PageNumber statusPages_ = 0;    ///< how many pages of entries are in use
    std::uint32_t lastStatus_ = 0;  ///< the highest number given to a status
    std::uint16_t nextPlace_ = 0;   ///< where the search for a free entry starts
};

/// A run of pages that goes back to the table unless it is kept.
class TakenPages {
  public:
    /// @param pages a power of two, or 0 for none
    /// @throws std::system_error if the table cannot grow
    TakenPages(Table& table, PageNumber pages)
        : table_(table), pages_(pages), first_(pages == 0 ? 0 : table.pagesTake(pages)) {}
    TakenPages(const TakenPages&) = delete;
    TakenPages& operator=(const TakenPages&) = delete;
    ~TakenPages() {
        if (pages_ != 0) table_.pagesGive(first_, pages_);
    }

    PageNumber first() const { return first_; }
    PageNumber keep() {
        pages_ = 0;
        return first_;
    }

  private:
    Table& table_;
    PageNumber pages_;
    PageNumber first_;
};

}  // namespace Routing::Gmp::Tessel::Storage
