#include "Routing/Gmp/Tessel/TableReader.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <thread>
#include <utility>

#include "Rix/CorruptionError.h"
#include "Routing/Gmp/Tessel/StatusColl.h"
#include "Routing/Gmp/Tessel/Storage/ChangeBell.h"
#include "Routing/Gmp/Tessel/Storage/ChangeWaiter.h"
#include "Routing/Gmp/Tessel/Storage/Header.h"
#include "Routing/Gmp/Tessel/Storage/StatusIdentity.h"
#include "Routing/Gmp/Tessel/Storage/StatusList.h"
#include "Routing/Gmp/Tessel/Storage/Table.h"

namespace Routing::Gmp::Tessel {

using Storage::ChangeKind;
using Storage::LoggedChange;
using Storage::StatusEntry;
using Storage::StatusIdentity;
using Storage::StatusList;
using Storage::TableFile;

namespace {

/// How long a reader waits for a table that is being made.
constexpr std::chrono::seconds makingTime{1};

/// The table's file; waits for one that is being made.
Rix::FileDescriptor findTable(const Storage::TableDirectory& directory) {
    const auto giveUp = std::chrono::steady_clock::now() + makingTime;
    for (;;) {
        const bool isBeingMade = directory.idOf("writer") || directory.idOf("table.new");
        Rix::FileDescriptor file = directory.find("table", O_RDONLY);
        if (file.isOpen()) return file;
        if (!isBeingMade || std::chrono::steady_clock::now() >= giveUp) {
            Storage::raiseSystemError(ENOENT, directory.pathOf("table"), "cannot be opened");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

}  // namespace

TableReader::TableReader(const std::filesystem::path& directory)
    : TableReader(std::make_shared<const Storage::TableDirectory>(
          Storage::TableDirectory::forReader(directory))) {}

TableReader::TableReader(const std::shared_ptr<const Storage::TableDirectory>& directory)
    : file_(std::make_shared<TableFile>(findTable(*directory), directory->pathOf("table"),
                                        TableFile::Access::read, TableFile::Size::growing)),
      hashSeed_(Storage::checkedHashSeed(*file_)),
      log_(*file_),
      waiter_(std::make_unique<Storage::ChangeWaiter>(
          file_, Storage::FileWatch(directory, file_->id()), nullptr)),
      seen_(log_.count()) {}

TableReader::TableReader(const StatusColl& coll)
    : file_(coll.table_->sharedFile()),
      hashSeed_(coll.table_->hashSeed()),
      log_(*file_),
      waiter_(std::make_unique<Storage::ChangeWaiter>(
          file_, coll.table_->watch(), coll.table_->watch() ? nullptr : coll.table_->sleepers())),
      seen_(log_.count()) {}

TableReader::Statuses TableReader::statuses() const {
    Statuses all;
    const StatusList list(*file_);
    std::uint16_t size = 0;
    try {
        size = list.checkedSize(file_->currentPages());
    } catch (const Rix::CorruptionError& error) {
        all.damage.emplace_back(error.what());
        return all;
    }
    for (std::uint16_t place = 0; place < size; ++place) {
        const StatusEntry& entry = list.entry(place);
        const std::uint64_t id = entry.life.load(std::memory_order_acquire);
        if (id == 0) continue;
        const auto identity = StatusIdentity::read(entry);
        // An entry that changed meanwhile belongs to a status that is gone, and to one to come.
        if (entry.life.load(std::memory_order_acquire) != id) continue;
        if (identity && identity->id == id) {
            all.readers.push_back(StatusReader(file_, hashSeed_, entry, identity->key, id));
        } else {
            all.damage.push_back(file_->path() + ": entry " + std::to_string(place) +
                                 " of the list of statuses is damaged");
        }
    }
    file_->checkWhole();
    return all;
}

std::optional<StatusReader> TableReader::status(const VrfApp& key) const {
    Statuses all = statuses();
    const auto found = std::find_if(all.readers.begin(), all.readers.end(),
                                    [&](const StatusReader& one) { return one.key() == key; });
    if (found == all.readers.end()) return std::nullopt;
    return std::move(*found);
}

std::vector<std::string> TableReader::faults() const {
    Statuses all = statuses();
    std::vector<std::string> faults = std::move(all.damage);
    for (StatusReader& status : all.readers) {
        const std::vector<std::string> some = status.faults();
        faults.insert(faults.end(), some.begin(), some.end());
    }
    file_->checkWhole();
    return faults;
}

// --- changes ------------------------------------------------------------------------------------

TableReader::Changes TableReader::changes() {
    waiter_->check();
    Changes result;
    const std::uint64_t count = log_.count();
    bool isComplete = count >= seen_;
    for (; isComplete && seen_ < count; ++seen_) {
        const auto change = log_.change(seen_);
        isComplete =
            change && change->kind != ChangeKind::lost && appendTo(result.changes, *change);
    }
    file_->checkWhole();
    seen_ = count;
    if (bell_) bell_->seenIs(seen_);
    if (!isComplete) return {true, {}};
    return result;
}

bool TableReader::appendTo(std::vector<TableChange>& changes, const LoggedChange& logged) const {
    const auto status = statusOf(logged);
    if (!status) return false;
    TableChange change{TableChange::Kind::membership,
                       {*status, Storage::keyFromWords(logged.key), logged.before, logged.after}};
    switch (logged.kind) {
        case ChangeKind::inserted:
            change.membership.before.reset();
            break;
        case ChangeKind::overwritten:
            break;
        case ChangeKind::removed:
            change.membership.after.reset();
            break;
        case ChangeKind::statusAdded:
            change = {TableChange::Kind::statusAdded, {*status, {}, {}, {}}};
            break;
        case ChangeKind::statusRemoved:
            change = {TableChange::Kind::statusRemoved, {*status, {}, {}, {}}};
            break;
        default:
            return false;
    }
    changes.push_back(change);
    return true;
}

std::optional<VrfApp> TableReader::statusOf(const LoggedChange& change) const {
    const StatusList list(*file_);
    if (change.statusPlace >= list.checkedSize(file_->currentPages())) return std::nullopt;
    const auto identity = StatusIdentity::read(list.entry(change.statusPlace));
    if (!identity || identity->id != change.statusId) return std::nullopt;
    return identity->key;
}

bool TableReader::waitForChange(std::optional<std::chrono::milliseconds> timeout) {
    return waiter_->wait(seen_, Storage::deadlineIn(timeout));
}

int TableReader::changeDescriptor() {
    if (!bell_) bell_ = std::make_unique<Storage::ChangeBell>(waiter_->another(), seen_);
    return bell_->descriptor();
}

void TableReader::cancel() {
    waiter_->cancel();
}

}  // namespace Routing::Gmp::Tessel
