#include "Routing/Gmp/Tessel/Storage/WriterLock.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <mutex>
#include <set>
#include <system_error>

#include "Routing/Gmp/Tessel/Storage/ProcessMark.h"

namespace Routing::Gmp::Tessel::Storage {

namespace {

constexpr const char* fileName = "writer";

/// The locks that this process holds. The system's own locks belong to a process as a whole: they
/// keep no second writer of the same process out, and closing any descriptor of a locked file gives
/// its lock up, so a held file must not even be opened. They are taken nevertheless, since they end
/// with the process even if it leaves children behind that inherited its descriptors.
struct HeldLocks {
    const ProcessMark process;
    std::mutex mutex;
    std::set<FileId> files;

    /// Never destroyed: a table may be closed while the process already exits. A forked process
    /// holds none of its parent's locks and begins with a list of its own.
    static HeldLocks& instance() {
        static std::atomic<HeldLocks*> current{nullptr};
        HeldLocks* locks = current.load();
        if (locks != nullptr && locks->process.isHere()) return *locks;
        auto* const fresh = new HeldLocks;
        if (current.compare_exchange_strong(locks, fresh)) return *fresh;
        delete fresh;
        return *locks;
    }
};

[[noreturn]] void raiseBusy(const std::string& path) {
    raiseSystemError(EBUSY, path, "another writer has the table open");
}

HeldLocks& heldLocks(const TableDirectory& directory) {
    try {
        return HeldLocks::instance();
    } catch (const std::system_error& error) {
        raiseSystemError(error.code().value(), directory.pathOf(fileName), "cannot be held");
    }
}

/// The file, open and locked; none if it was removed or replaced meanwhile.
Rix::FileDescriptor lockedFile(const TableDirectory& directory, const HeldLocks& held, FileId& id) {
    const std::string path = directory.pathOf(fileName);
    const auto before = directory.idOf(fileName);
    if (before && held.files.contains(*before)) raiseBusy(path);
    Rix::FileDescriptor file = directory.find(fileName, O_RDWR);
    if (!file.isOpen()) {
        if (before) return file;
        file = directory.create(fileName);
    }
    directory.modesAre(file, fileName, std::nullopt, 0600);
    struct flock whole {};
    whole.l_type = F_WRLCK;
    whole.l_whence = SEEK_SET;
    if (fcntl(file.number(), F_SETLK, &whole) != 0) {
        if (errno == EAGAIN || errno == EACCES) raiseBusy(path);
        raiseSystemError(errno, path, "cannot be locked");
    }
    struct stat status {};
    if (fstat(file.number(), &status) != 0) raiseSystemError(errno, path, "cannot be examined");
    id = {status.st_dev, status.st_ino};
    if (directory.presence(fileName, id) != TableDirectory::Presence::same) return {};
    return file;
}

}  // namespace

WriterLock::WriterLock(const TableDirectory& directory) {
    HeldLocks& held = heldLocks(directory);
    const std::lock_guard guard(held.mutex);
    for (int attempts = 0; attempts < 8 && !file_.isOpen(); ++attempts)
        file_ = lockedFile(directory, held, fileId_);
    if (!file_.isOpen()) raiseBusy(directory.pathOf(fileName));
    held.files.insert(fileId_);
}

WriterLock::~WriterLock() {
    if (!file_.isOpen()) return;
    HeldLocks& held = HeldLocks::instance();
    const std::lock_guard guard(held.mutex);
    held.files.erase(fileId_);
    const Rix::FileDescriptor closed(std::move(file_));  // while nobody else takes the lock
}

std::string WriterLock::noteOf(FileId table) const {
    const auto text = [](FileId id) {
        return std::to_string(id.first) + ":" + std::to_string(id.second);
    };
    return "table " + text(table) + " writer " + text(fileId_) + "\n";
}

bool WriterLock::isOf(FileId table) const {
    std::array<char, 128> note{};
    const ssize_t length = pread(file_.number(), note.data(), note.size(), 0);
    return length > 0 &&
           std::string(note.data(), static_cast<std::size_t>(length)) == noteOf(table);
}

void WriterLock::tableIs(FileId table, const TableDirectory& directory) const {
    if (isOf(table)) return;
    const std::string note = noteOf(table);
    if (ftruncate(file_.number(), 0) != 0 ||
        pwrite(file_.number(), note.data(), note.size(), 0) != static_cast<ssize_t>(note.size())) {
        raiseSystemError(errno, directory.pathOf(fileName), "cannot be written");
    }
}

}  // namespace Routing::Gmp::Tessel::Storage
