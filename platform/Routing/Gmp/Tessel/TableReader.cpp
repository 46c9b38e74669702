#include "Routing/Gmp/Tessel/TableReader.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <thread>
#include <utility>

#include "Routing/Gmp/Tessel/StatusColl.h"
#include "Routing/Gmp/Tessel/Storage/ChangeBell.h"
#include "Routing/Gmp/Tessel/Storage/ChangeWaiter.h"
#include "Routing/Gmp/Tessel/Storage/Header.h"
#include "Routing/Gmp/Tessel/Storage/Sleepers.h"
#include "Routing/Gmp/Tessel/Storage/StatusView.h"
#include "Routing/Gmp/Tessel/Storage/Table.h"
#include "Routing/Gmp/Tessel/Storage/TableView.h"

namespace Routing::Gmp::Tessel {

using Storage::ChangeKind;
using Storage::LoggedChange;
using Storage::StatusView;
using Storage::TableFile;

namespace {

/// How long a reader waits for a table that is being made.
constexpr std::chrono::seconds makingTime{1};

/// The table's file; waits for one that is being made.
Rix::FileDescriptor findTable(const Storage::TableDirectory& directory) {
    const auto isThere = [&](const char* name) {
        return directory.presence(name, {}) == Storage::TableDirectory::Presence::other;
    };
    const auto giveUp = std::chrono::steady_clock::now() + makingTime;
    for (;;) {
        const bool isBeingMade = isThere("writer") || isThere("table.new");
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
      view_(std::make_unique<Storage::TableView>(file_)),
      waiter_(std::make_unique<Storage::ChangeWaiter>(
          file_, Storage::FileWatch(directory, file_->id()), nullptr)),
      seen_(view_->log().count()) {}

TableReader::TableReader(const StatusColl& coll)
    : file_(coll.table_->sharedFile()),
      view_(std::make_unique<Storage::TableView>(file_)),
      waiter_(std::make_unique<Storage::ChangeWaiter>(
          file_, coll.table_->watch(), coll.table_->watch() ? nullptr : coll.table_->sleepers())),
      seen_(view_->log().count()) {}

TableReader::TableReader(TableReader&&) noexcept = default;
TableReader& TableReader::operator=(TableReader&&) noexcept = default;
TableReader::~TableReader() = default;

TableReader::Statuses TableReader::statuses() const {
    Statuses all;
    for (StatusView& view : view_->statuses(all.damage)) {
        all.readers.push_back(StatusReader(std::make_unique<StatusView>(std::move(view))));
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
    std::vector<std::string> faults = view_->faults();
    file_->checkWhole();
    return faults;
}

// --- changes ------------------------------------------------------------------------------------

TableReader::Changes TableReader::changes() {
    waiter_->check();
    Changes result;
    const std::uint64_t count = view_->log().count();
    bool isComplete = count >= seen_ && count - seen_ <= view_->dimensions().logEntries;
    if (isComplete) result.changes.reserve(count - seen_);
    for (; isComplete && seen_ < count; ++seen_) {
        const auto change = view_->log().change(seen_);
        isComplete =
            change && change->kind != ChangeKind::lost && appendTo(result.changes, *change);
    }
    file_->checkWhole();
    seen_ = count;
    if (bell_) bell_->seenIs(seen_);
    if (!isComplete) return {true, {}};
    return result;
}

bool TableReader::appendTo(std::vector<TableChange>& changes, const LoggedChange& logged) {
    const VrfApp* const status = statusOf(logged);
    if (status == nullptr) return false;
    TableChange& change = changes.emplace_back();
    MembershipChange& membership = change.membership;
    membership.status = *status;
    switch (logged.kind) {
        case ChangeKind::statusAdded:
            change.kind = TableChange::Kind::statusAdded;
            return true;
        case ChangeKind::statusRemoved:
            change.kind = TableChange::Kind::statusRemoved;
            return true;
        default:
            break;
    }
    membership.key = Storage::keyFromWords(logged.key);
    if (logged.kind != ChangeKind::inserted) membership.before = logged.before;
    if (logged.kind != ChangeKind::removed) membership.after = logged.after;
    return true;
}

const VrfApp* TableReader::statusOf(const LoggedChange& change) {
    KnownStatus& known = known_[change.statusPlace];
    if (known.id == change.statusId) return &known.key;
    const auto identity = view_->identity(change.statusPlace);
    if (!identity || identity->id != change.statusId) return nullptr;
    known = {identity->id, identity->key};
    return &known.key;
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
