#include "Routing/Gmp/Tessel/Storage/Table.h"

#include <fcntl.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <set>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "Rix/CorruptionError.h"
#include "Rix/RangeError.h"
#include "Routing/Gmp/Tessel/Storage/Header.h"
#include "Routing/Gmp/Tessel/Storage/StatusIdentity.h"
#include "Routing/Gmp/Tessel/Storage/StatusList.h"
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

TableFile createTable(const TableDirectory& directory) {
    UnfinishedTable unfinished(directory);
    TableFile file = unfinished.mapped();
    file.pagesIs(firstPages);
    writeHeader(file);
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

TableFile openOrCreate(const TableDirectory& directory, const WriterLock& lock) {
    Rix::FileDescriptor found = directory.find(fileName, O_RDWR);
    if (!found.isOpen()) return createTable(directory);
    TableFile file(std::move(found), directory.pathOf(fileName), TableFile::Access::write,
                   TableFile::Size::growing);
    // Nothing is done to a file that is no table.
    static_cast<void>(checkedHashSeed(file));
    // It may have a writer whose lock was removed or replaced: that one keeps the old file, and is
    // told that it is gone.
    if (!lock.isOf(file.id())) return copyTable(directory, file);
    file.holesFill();
    return file;
}

}  // namespace

Table::Table(TableFile file, Sleepers sleepers, std::optional<FileWatch> watch,
             std::optional<WriterLock> lock)
    : lock_(std::move(lock)),
      file_(std::make_shared<TableFile>(std::move(file))),
      watch_(std::move(watch)),
      hashSeed_(checkedHashSeed(*file_)),
      sleepers_(std::make_shared<Sleepers>(std::move(sleepers))),
      wakeCalls_(*sleepers_, file_->at<Control>(controlPage)) {
    openStatuses();
    openFreePages();
    // Only now, when the table is known to be sound, is anything written to it.
    log_.emplace(*file_);
    // The writer before this one may have been killed before it could log what it did.
    changed({});
}

Table::~Table() = default;

std::unique_ptr<Table> Table::open(const std::filesystem::path& path, const TableAccess& access) {
    const auto directory =
        std::make_shared<const TableDirectory>(TableDirectory::forWriter(path, access));
    WriterLock lock(*directory);
    TableFile file = openOrCreate(*directory, lock);
    lock.tableIs(file.id(), *directory);
    directory->modesAre(file.descriptor(), fileName, access.mayRead, 0644);
    Sleepers sleepers = Sleepers::forWriter(*directory);
    FileWatch watch(directory, file.id());
    return std::unique_ptr<Table>(
        new Table(std::move(file), std::move(sleepers), std::move(watch), std::move(lock)));
}

std::unique_ptr<Table> Table::anonymous() {
    TableFile file = TableFile::anonymous(firstPages);
    writeHeader(file);
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

void Table::reportCorruption(std::string_view message) const {
    if (listener_.corruption) listener_.corruption(message);
}

// --- statuses -----------------------------------------------------------------------------------

StatusEntry& Table::statusEntry(std::uint16_t place) const {
    return StatusList(*file_).entry(place);
}

void Table::openStatuses() {
    const StatusList list(*file_);
    std::set<std::string> names;
    const std::uint16_t size = list.checkedSize(file_->pages());
    for (std::uint16_t place = 0; place < size; ++place) {
        const StatusEntry& entry = list.entry(place);
        if (const auto identity = StatusIdentity::read(entry)) {
            lastStatus_ = std::max(lastStatus_, StatusIdentity::numberOf(identity->id));
        }
        if (entry.life.load(std::memory_order_relaxed) == 0) continue;
        auto status = std::make_unique<StatusStore>(*this, place);
        const VrfApp& key = status->key();
        if (!names.insert(key.name() + static_cast<char>(key.app)).second) {
            throw Rix::CorruptionError(file_->path() + ": status '" + key.name() +
                                       "' is there twice");
        }
        statuses_.emplace(place, std::move(status));
    }
}

void Table::openFreePages() {
    std::vector<Directory::Extent> used = StatusList(*file_).extents();
    used.push_back({0, statusListPage + 1});
    used.push_back({logPage, logPages});
    for (const auto& [place, status] : statuses_) {
        const auto extents = status->extents();
        used.insert(used.end(), extents.begin(), extents.end());
    }
    std::sort(used.begin(), used.end(),
              [](const auto& a, const auto& b) { return a.page < b.page; });
    PageNumber end = 0;
    for (const Directory::Extent extent : used) {
        if (extent.page < end || extent.pages > file_->pages() - extent.page) {
            throw Rix::CorruptionError(file_->path() + ": page " + std::to_string(extent.page) +
                                       " is used twice or lies outside the file");
        }
        allocator_.free(end, extent.page - end);
        end = extent.page + extent.pages;
    }
    allocator_.free(end, file_->pages() - end);
}

std::uint16_t Table::freeStatusPlace() {
    const StatusList list(*file_);
    const std::uint16_t size = list.size();
    for (std::uint16_t tried = 0; tried < size; ++tried) {
        const auto place = static_cast<std::uint16_t>((nextPlace_ + tried) % size);
        if (!statuses_.contains(place)) return place;
    }
    if (size == maxStatuses) {
        throw Rix::RangeError(file_->path() + ": more than " + std::to_string(maxStatuses) +
                              " statuses not allowed");
    }
    TakenPages page(*this, 1);
    list.pageAdd(page.keep());
    return size;
}

/// Room for it comes first: a status does not give its pages back when it is not kept.
StatusStore& Table::statusMake(std::uint16_t place, const VrfApp& key, std::uint64_t id) {
    const auto room = statuses_.try_emplace(place).first;
    try {
        room->second = std::make_unique<StatusStore>(*this, place, key, id);
    } catch (...) {
        statuses_.erase(room);
        throw;
    }
    return *room->second;
}

StatusStore& Table::statusAdd(const VrfApp& key) {
    const std::uint16_t place = freeStatusPlace();
    const std::uint64_t id = StatusIdentity::idOf(lastStatus_ + 1);
    StatusStore& status = statusMake(place, key, id);
    // The entries of statuses that are gone stay readable as long as possible: readers of the log
    // learn the names of statuses from them.
    nextPlace_ = static_cast<std::uint16_t>(place + 1);
    ++lastStatus_;
    statusEntry(place).life.store(id, std::memory_order_release);
    changed({ChangeKind::statusAdded, id, place, {}, {}, {}});
    return status;
}

Table::StatusContent Table::contentOf(StatusStore& status) const {
    StatusContent content{status.extents(), {}};
    if (isObserved()) status.memberships(content.memberships);
    return content;
}

void Table::statusDel(StatusStore& status, const StatusContent& content) {
    const std::unique_ptr<StatusStore> store =
        std::move(statuses_.extract(status.place()).mapped());
    statusEntry(store->place()).life.store(0, std::memory_order_release);
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
