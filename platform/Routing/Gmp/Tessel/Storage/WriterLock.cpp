#include "Routing/Gmp/Tessel/Storage/WriterLock.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <mutex>
#include <set>

#include "Routing/Gmp/Tessel/Storage/TableFile.h"

namespace Routing::Gmp::Tessel::Storage {

namespace {

/// The locks that this process holds. The system's own locks belong to a process as a whole: they
/// keep no second writer of the same process out, and closing any descriptor of a locked file gives
/// its lock up, so a held file must not even be opened. They are taken nevertheless, since they end
/// with the process even if it leaves children behind that inherited its descriptors.
struct HeldLocks {
    std::mutex mutex;
    std::set<std::pair<dev_t, ino_t>> files;

    /// Never destroyed: a table may be closed while the process already exits.
    static HeldLocks& instance() {
        static HeldLocks& locks = *new HeldLocks;
        return locks;
    }
};

[[noreturn]] void raiseBusy(const std::string& path) {
    raiseSystemError(EBUSY, path, "another writer has the table open");
}

}  // namespace

WriterLock::WriterLock(const std::filesystem::path& directory) {
    const std::string path = directory / "writer";
    HeldLocks& held = HeldLocks::instance();
    const std::lock_guard guard(held.mutex);
    struct stat status {};
    if (stat(path.c_str(), &status) == 0 && held.files.contains({status.st_dev, status.st_ino})) {
        raiseBusy(path);
    }
    Rix::FileDescriptor file(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666));
    if (!file.isOpen()) raiseSystemError(errno, path, "cannot be opened");
    struct flock whole {};
    whole.l_type = F_WRLCK;
    whole.l_whence = SEEK_SET;
    if (fcntl(file.number(), F_SETLK, &whole) != 0) {
        if (errno == EAGAIN || errno == EACCES) raiseBusy(path);
        raiseSystemError(errno, path, "cannot be locked");
    }
    if (fstat(file.number(), &status) != 0) raiseSystemError(errno, path, "cannot be examined");
    fileId_ = {status.st_dev, status.st_ino};
    held.files.insert(fileId_);
    file_ = std::move(file);
}

WriterLock::~WriterLock() {
    if (!file_.isOpen()) return;
    HeldLocks& held = HeldLocks::instance();
    const std::lock_guard guard(held.mutex);
    held.files.erase(fileId_);
    const Rix::FileDescriptor closed(std::move(file_));  // while nobody else takes the lock
}

}  // namespace Routing::Gmp::Tessel::Storage
