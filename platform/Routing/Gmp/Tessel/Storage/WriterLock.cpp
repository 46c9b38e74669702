#include "Routing/Gmp/Tessel/Storage/WriterLock.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

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
    const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (fd < 0) raiseSystemError(errno, path, "cannot be opened");
    struct flock whole {};
    whole.l_type = F_WRLCK;
    whole.l_whence = SEEK_SET;
    if (fcntl(fd, F_SETLK, &whole) != 0) {
        const int error = errno;
        close(fd);
        if (error == EAGAIN || error == EACCES) raiseBusy(path);
        raiseSystemError(error, path, "cannot be locked");
    }
    if (fstat(fd, &status) != 0) {
        const int error = errno;
        close(fd);
        raiseSystemError(error, path, "cannot be examined");
    }
    fd_ = fd;
    fileId_ = {status.st_dev, status.st_ino};
    held.files.insert(fileId_);
}

WriterLock::WriterLock(WriterLock&& other) noexcept
    : fd_(std::exchange(other.fd_, -1)), fileId_(std::move(other.fileId_)) {}

WriterLock::~WriterLock() {
    if (fd_ < 0) return;
    HeldLocks& held = HeldLocks::instance();
    const std::lock_guard guard(held.mutex);
    held.files.erase(fileId_);
    close(fd_);
}

}  // namespace Routing::Gmp::Tessel::Storage
