#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "Lumo/Ptr.h"
#include "Rix/Export.h"
#include "Routing/Gmp/Tessel/StatusReader.h"
#include "Routing/Gmp/Tessel/TableChange.h"
#include "Routing/Gmp/Tessel/VrfApp.h"

namespace Routing::Gmp::Tessel {

class StatusColl;

namespace Storage {
class ChangeBell;
class ChangeWaiter;
class TableDirectory;
class TableFile;
class TableView;
struct LoggedChange;
}  // namespace Storage

/// The GMP status table as another process reads it, while its writer lives or afterwards.
///
/// Made by whoever reads, as long as he does. Never writes to the table, never waits for the writer
/// and is never waited for. Each reader belongs to one thread; there may be any number.
///
/// To follow a table: walk it, then `for (;;) { waitForChange(); changes(); }`, and walk it again
/// when changes() says so. A change is either in the walk or in the changes, or in both.
///
/// Reading raises a std::system_error once the file was cut short. waitForChange() and changes()
/// raise a TableGoneError within a second after the directory or a file in it was removed or
/// replaced: nobody writes what this reader reads any more. Another reader may be made then.
class RIX_EXPORT TableReader {
  public:
    /// The table in a directory. If it is just being made, waits for it, at most a second.
    /// @throws std::system_error if there is none or it may not be read, or if somebody else than
    ///         root, this process's user and the directory's owner could change it; the message
    ///         names the path
    /// @throws Rix::CorruptionError if the file is not a GMP status table of this version
    explicit TableReader(const std::filesystem::path& directory);
    /// The table that this process writes, over the same mapping; for another thread, or for a
    /// table that has no file. To be called by the writer's thread. What is read stays readable
    /// after the collection is gone.
    explicit TableReader(const StatusColl& coll);

    TableReader(TableReader&&) noexcept;
    TableReader& operator=(TableReader&&) noexcept;
    ~TableReader();

    /// Every status there is, and what is damaged among them.
    struct Statuses {
        std::vector<StatusReader> readers;
        std::vector<std::string> damage;
    };
    Statuses statuses() const;
    /// The status of that key; nothing if there is none.
    std::optional<StatusReader> status(const VrfApp& key) const;

    /// What changed since this was asked last, or since the reader was made.
    struct Changes {
        /// Changes were missed: too many happened, another writer took over, or some of the log or
        /// of the table was damaged. `changes` is empty; the table must be walked again.
        bool isWalkNeeded = false;
        /// In the order in which they happened.
        std::vector<TableChange> changes;
    };
    Changes changes();
    /// Sleeps until something changed since changes() was asked last, or for that long. Whoever may
    /// write the file `sleepers` beside the table, the only one that readers write, is woken by the
    /// change; others notice it within 20 ms.
    /// @param timeout how long at most; nothing means for ever
    /// @returns whether something changed; false after that long, and after cancel()
    bool waitForChange(std::optional<std::chrono::milliseconds> timeout = std::nullopt);

    /// A descriptor for poll(2) and its like: readable once something changed since changes() was
    /// asked last, and when changes() has an error to raise; changes() makes it unreadable. Not to
    /// be read or closed; it goes with the reader. The first call starts a thread, which waits for
    /// changes and takes no signals, and which does not live on in a forked process.
    /// @throws std::system_error if there is no descriptor or no thread to be had
    int changeDescriptor();
    /// Ends a wait of this reader, and all later ones. To be called by any thread.
    void cancel();

    /// Everything that is wrong with the table, one text a fault, with the file, the status and the
    /// slot. Reads all of it. Empty if nothing is.
    std::vector<std::string> faults() const;

  private:
    explicit TableReader(const std::shared_ptr<const Storage::TableDirectory>& directory);

    /// False if the change cannot be told.
    bool appendTo(std::vector<TableChange>& changes, const Storage::LoggedChange& logged);
    /// The status that a logged change is about; null if its name is not known any more.
    const VrfApp* statusOf(const Storage::LoggedChange& change);

    /// What is known of a place of the list of statuses: whose it was when it was last asked for.
    struct KnownStatus {
        std::uint64_t id = 0;
        VrfApp key;
    };

    std::shared_ptr<const Storage::TableFile> file_;
    std::unique_ptr<Storage::TableView> view_;
    std::unique_ptr<Storage::ChangeWaiter> waiter_;
    std::uint64_t seen_;  ///< how many changes were asked for
    std::unique_ptr<Storage::ChangeBell> bell_;
    std::unordered_map<std::uint16_t, KnownStatus> known_;
};

}  // namespace Routing::Gmp::Tessel
