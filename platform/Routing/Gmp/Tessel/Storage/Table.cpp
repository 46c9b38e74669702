#include "Routing/Gmp/Tessel/Storage/Table.h"

#include <algorithm>
#include <limits>
#include <new>
#include <set>
#include <string>
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

TableFile openOrCreate(const std::filesystem::path& directory) {
    const std::filesystem::path path = directory / fileName;
    if (std::filesystem::exists(std::filesystem::symlink_status(path))) {
        return TableFile::open(path, TableFile::Access::write, TableFile::Size::growing);
    }
    // Under its own name only once it is whole.
    const std::filesystem::path unfinished = directory / "table.new";
    try {
        TableFile file = TableFile::create(unfinished, firstPages, TableFile::Size::growing);
        writeHeader(file);
        file.pathIs(path);
        return file;
    } catch (...) {
        std::error_code ignored;
        std::filesystem::remove(unfinished, ignored);
        throw;
    }
}

void makeDirectory(const std::filesystem::path& directory) {
    std::error_code error;
    std::filesystem::create_directories(directory, error);
    if (error) raiseSystemError(error.value(), directory, "cannot be made");
}

}  // namespace

Table::Table(TableFile file, Sleepers sleepers, std::optional<WriterLock> lock)
    : lock_(std::move(lock)),
      file_(std::make_shared<TableFile>(std::move(file))),
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

std::unique_ptr<Table> Table::open(const std::filesystem::path& directory) {
    makeDirectory(directory);
    WriterLock lock(directory);
    TableFile file = openOrCreate(directory);
    return std::unique_ptr<Table>(
        new Table(std::move(file), Sleepers::forWriter(directory), std::move(lock)));
}

std::unique_ptr<Table> Table::anonymous() {
    TableFile file = TableFile::anonymous(firstPages, TableFile::Size::growing);
    writeHeader(file);
    return std::unique_ptr<Table>(new Table(std::move(file), Sleepers::anonymous(), std::nullopt));
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
