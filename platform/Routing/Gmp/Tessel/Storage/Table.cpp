#include "Routing/Gmp/Tessel/Storage/Table.h"

#include <fcntl.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "Rix/CorruptionError.h"
#include "Rix/RangeError.h"
#include "Routing/Gmp/Tessel/Storage/Header.h"
#include "Routing/Gmp/Tessel/Storage/StatusStore.h"

namespace Routing::Gmp::Tessel::Storage {

namespace {

constexpr const char* fileName = "table";
/// A table has its own name only once it is whole.
constexpr const char* unfinishedName = "table.new";

/// A file that is to become the table; it is removed unless it does.
class UnfinishedTable {
  public:
    explicit UnfinishedTable(const TableDirectory& directory) : directory_(directory) {
        // One whose maker was killed.
        directory.remove(unfinishedName);
        file_ = directory.create(unfinishedName);
    }
    UnfinishedTable(const UnfinishedTable&) = delete;
    UnfinishedTable& operator=(const UnfinishedTable&) = delete;
    ~UnfinishedTable() {
        if (isOver_) return;
        try {
            directory_.remove(unfinishedName);
        } catch (const std::system_error&) {
            // The next one tries again.
        }
    }

    TableFile mapped() {
        return {std::move(file_), directory_.pathOf(fileName), TableFile::Access::write,
                TableFile::Size::growing};
    }
    void putInPlace() {
        directory_.rename(unfinishedName, fileName);
        isOver_ = true;
    }

  private:
    const TableDirectory& directory_;
    Rix::FileDescriptor file_;
    bool isOver_ = false;
};

/// Makes a table that holds nothing of a new file of its first pages.
void makeTable(TableFile& file, Dimensions dimensions) {
    file.holeAdd(maxStatusPages);
    try {
        file.pagesIs(file.pages() + startPages);
    } catch (const std::system_error&) {
        // A small file system may have room for a small table.
        file.pagesIs(file.pages() + growthPages);
    }
    writeHeader(file, dimensions);
}

TableFile createTable(const TableDirectory& directory, Dimensions dimensions) {
    UnfinishedTable unfinished(directory);
    TableFile file = unfinished.mapped();
    file.pagesIs(dimensions.statusPage());
    makeTable(file, dimensions);
    unfinished.putInPlace();
    return file;
}

/// The same table in another file.
TableFile copyTable(const TableDirectory& directory, const TableFile& from) {
    UnfinishedTable unfinished(directory);
    TableFile file = unfinished.mapped();
    file.pagesIs(from.pages());
    std::memcpy(file.page(0), from.page(0), std::size_t{from.pages()} * pageBytes);
    from.checkWhole();
    unfinished.putInPlace();
    return file;
}

TableFile openOrCreate(const TableDirectory& directory, const WriterLock& lock,
                       Dimensions dimensions) {
    Rix::FileDescriptor found = directory.find(fileName, O_RDWR);
    if (!found.isOpen()) return createTable(directory, dimensions);
    TableFile file(std::move(found), directory.pathOf(fileName), TableFile::Access::write,
                   TableFile::Size::growing);
    // Nothing is done to a file that is no table. What an obsolete one holds is written again by
    // those who wrote it.
    if (isObsoleteTable(file)) return createTable(directory, dimensions);
    static_cast<void>(checkedHeader(file));
    // It may have a writer whose lock was removed or replaced: that one keeps the old file, and is
    // told that it is gone.
    if (!lock.isOf(file.id())) return copyTable(directory, file);
    return file;
}

}  // namespace

Table::Table(TableFile file, Sleepers sleepers, std::optional<FileWatch> watch,
             std::optional<WriterLock> lock)
    : lock_(std::move(lock)),
      file_(std::make_shared<TableFile>(std::move(file))),
      watch_(std::move(watch)),
      header_(checkedHeader(*file_)),
      sleepers_(std::make_shared<Sleepers>(std::move(sleepers))),
      wakeCalls_(*sleepers_, control()) {
    // Nothing is written before the header is known to be ours.
    openControl();
    openStatuses();
    openFreePages();
    statusesGuardIs();
    // The writer before this one may have been killed before it could log what it did.
    changed({});
}

Table::~Table() = default;

std::unique_ptr<Table> Table::open(const std::filesystem::path& path, const TableAccess& access,
                                   const TableOptions& options) {
    if (!isLogLength(options.logEntries)) {
        throw Rix::RangeError("Routing::Gmp::Tessel::TableOptions::logEntries " +
                              std::to_string(options.logEntries) + " not allowed");
    }
    const auto directory =
        std::make_shared<const TableDirectory>(TableDirectory::forWriter(path, access));
    WriterLock lock(*directory);
    TableFile file = openOrCreate(*directory, lock, {options.logEntries});
    lock.tableIs(file.id(), *directory);
    directory->modesAre(file.descriptor(), fileName, access.mayRead, 0644);
    Sleepers sleepers = Sleepers::forWriter(*directory);
    FileWatch watch(directory, file.id());
    return std::unique_ptr<Table>(
        new Table(std::move(file), std::move(sleepers), std::move(watch), std::move(lock)));
}

std::unique_ptr<Table> Table::anonymous() {
    // Whoever follows it is in this process and keeps up.
    constexpr Dimensions dimensions{4096};
    TableFile file = TableFile::anonymous(dimensions.statusPage());
    makeTable(file, dimensions);
    return std::unique_ptr<Table>(
        new Table(std::move(file), Sleepers::anonymous(), std::nullopt, std::nullopt));
}

// --- whether it may be used ---------------------------------------------------------------------

void Table::checkFiles() {
    checkMemory();
    if (watch_) lookAtFiles();
}

void Table::lookAtFiles() {
    watch_->look();
    const TableDirectory& directory = *watch_->directory();
    if (sleepers_->isIn(directory)) return;
    // Readers that wait are the only ones who miss it, and find a new one by themselves.
    try {
        sleepers_ = std::make_shared<Sleepers>(Sleepers::forWriter(directory));
        wakeCalls_.sleepersAre(*sleepers_);
        reportCorruption(directory.pathOf("sleepers") + ": was spoilt by others; made anew");
    } catch (const std::system_error& error) {
        reportCorruption(error.what());
    }
}

void Table::raiseForked() const {
    throw std::logic_error(file_->path() +
                           ": belongs to the process that this one was forked from; open the table "
                           "after the fork");
}

void Table::corruptionListenerIs(std::function<void(std::string_view message)> listener) {
    listener_.corruption = std::move(listener);
    if (!listener_.corruption) return;
    const std::vector<std::string> reports = std::exchange(reports_, {});
    for (const std::string& report : reports)
        listener_.corruption(report);
}

void Table::reportCorruption(std::string_view message) {
    if (listener_.corruption) return listener_.corruption(message);
    if (reports_.size() < mostReports) reports_.emplace_back(message);
}

// --- statuses -----------------------------------------------------------------------------------

std::uint16_t Table::freeStatusPlace() {
    const auto size = static_cast<std::uint16_t>(statusPages_ * statusEntriesAPage);
    for (std::uint16_t tried = 0; tried < size; ++tried) {
        const auto place = static_cast<std::uint16_t>((nextPlace_ + tried) % size);
        if (!statuses_.contains(place)) return place;
    }
    if (size == maxStatuses) {
        throw Rix::RangeError(file_->path() + ": more than " + std::to_string(maxStatuses) +
                              " statuses not allowed");
    }
    file_->memoryGet(dimensions().statusPage() + statusPages_, 1);
    list().clear(statusPages_);
    ++statusPages_;
    control().statusPages.store(paired(statusPages_), std::memory_order_release);
    return size;
}

/// Room for it comes first: a status does not give its pages back when it is not kept.
StatusStore& Table::statusMake(std::uint16_t place, const StatusIdentity& identity) {
    const auto room = statuses_.try_emplace(place).first;
    try {
        room->second = std::make_unique<StatusStore>(*this, place, identity);
    } catch (...) {
        statuses_.erase(room);
        throw;
    }
    return *room->second;
}

StatusStore& Table::statusAdd(const VrfApp& key) {
    if (lastStatus_ == std::numeric_limits<std::uint32_t>::max()) {
        throw Rix::RangeError(file_->path() + ": has no more identifiers for statuses");
    }
    const std::uint16_t place = freeStatusPlace();
    const StatusIdentity identity{key, paired(lastStatus_ + 1)};
    StatusStore& status = statusMake(place, identity);
    // The entries of statuses that are gone stay readable as long as possible: readers of the log
    // learn the names of statuses from them.
    nextPlace_ = static_cast<std::uint16_t>(place + 1);
    ++lastStatus_;
    // A writer that is killed while it writes the identity must not forget the identifier.
    control().lastStatus.store(paired(lastStatus_), std::memory_order_release);
    StatusEntry& entry = list().entry(place);
    identity.write(entry);
    entry.root.store(status.root(), std::memory_order_release);
    guard_ = guard_.after(0, Guard::shareOf(identity.id, status.root(), place));
    guarded(control().statuses, guard_,
            [&] { entry.life.store(identity.id, std::memory_order_release); });
    changed({ChangeKind::statusAdded, identity.id, place, {}, {}, {}});
    return status;
}

void Table::rootChanged(const StatusStore& status, std::uint64_t before) {
    guard_ = guard_.after(Guard::shareOf(status.id(), before, status.place()),
                          Guard::shareOf(status.id(), status.root(), status.place()));
    guarded(control().statuses, guard_, [&] {
        list().entry(status.place()).root.store(status.root(), std::memory_order_release);
    });
}

bool Table::mendEntry(const StatusStore& status) {
    StatusEntry& entry = list().entry(status.place());
    const EntryReading reading = EntryReading::of(entry);
    const bool isEntryRight = reading.kind == EntryReading::Kind::live &&
                              reading.identity == status.identity() &&
                              reading.root == status.root();
    if (!isEntryRight) {
        status.identity().write(entry);
        entry.root.store(status.root(), std::memory_order_release);
        entry.life.store(status.id(), std::memory_order_release);
    }
    const bool isControlRight =
        list().pages() == statusPages_ &&
        control().lastStatus.load(std::memory_order_relaxed) == paired(lastStatus_) &&
        GuardReading::of(control().statuses) == GuardReading{guard_, guard_};
    if (!isControlRight) {
        control().statusPages.store(paired(statusPages_), std::memory_order_release);
        control().lastStatus.store(paired(lastStatus_), std::memory_order_release);
        guarded(control().statuses, guard_, [] {});
    }
    return !isEntryRight || !isControlRight;
}

Table::StatusContent Table::contentOf(StatusStore& status) const {
    StatusContent content{status.extents(), {}};
    if (isObserved()) status.memberships(content.memberships);
    return content;
}

void Table::statusDel(StatusStore& status, const StatusContent& content) {
    const std::unique_ptr<StatusStore> store =
        std::move(statuses_.extract(status.place()).mapped());
    guard_ = guard_.after(Guard::shareOf(store->id(), store->root(), store->place()), 0);
    guarded(control().statuses, guard_,
            [&] { list().entry(store->place()).life.store(noLife, std::memory_order_release); });
    changed({ChangeKind::statusRemoved, store->id(), store->place(), {}, {}, {}});
    for (const Directory::Extent extent : content.extents)
        pagesGive(extent.page, extent.pages);
    for (const Membership& membership : content.memberships) {
        observe({store->key(), membership.key(), membership.filterMode(), std::nullopt});
    }
}

// --- pages --------------------------------------------------------------------------------------

PageNumber Table::pagesTake(PageNumber pages) {
    if (const auto first = allocator_.take(pages)) return *first;
    const PageNumber run = std::max(PageAllocator::runLength(pages), growthPages);
    const PageNumber before = file_->pages();
    const PageNumber aligned = (before + run - 1) / run * run;
    file_->pagesIs(aligned + run);
    allocator_.free(before, file_->pages() - before);
    const auto first = allocator_.take(pages);
    if (!first) throw std::bad_alloc();
    return *first;
}

}  // namespace Routing::Gmp::Tessel::Storage
