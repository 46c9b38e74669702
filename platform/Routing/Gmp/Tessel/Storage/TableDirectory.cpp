#include "Routing/Gmp/Tessel/Storage/TableDirectory.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace Routing::Gmp::Tessel::Storage {

namespace {

using Who = TableAccess::Who;

constexpr mode_t ownerBits = 0700;

std::filesystem::path absolutePath(const std::filesystem::path& path) {
    std::filesystem::path whole = std::filesystem::absolute(path);
    // "directory/" would be followed where it is a link.
    return whole.has_filename() ? whole : whole.parent_path();
}

void makeParents(const std::filesystem::path& path) {
    const std::filesystem::path parent = path.parent_path();
    std::error_code ignored;
    if (parent == path || std::filesystem::exists(parent, ignored)) return;
    makeParents(parent);
    mkdir(parent.c_str(), 0755);
}

/// The bits for those who may, out of bits for everyone.
mode_t bitsFor(Who who, mode_t bits) {
    if (who == Who::owner) return bits & 0700;
    return who == Who::group ? bits & 0770 : bits;
}

FileId idOf(const struct stat& status) {
    return {status.st_dev, status.st_ino};
}

}  // namespace

void raiseSystemError(int error, const std::string& path, const char* attempt) {
    throw std::system_error(error, std::generic_category(), path + ": " + attempt);
}

TableDirectory TableDirectory::forWriter(const std::filesystem::path& path,
                                         const TableAccess& access) {
    if (access.mayWait > access.mayRead) {
        throw std::invalid_argument(path.string() + ": more may wait for changes than may read");
    }
    TableDirectory directory(absolutePath(path), access);
    const std::string text = directory.path_;
    makeParents(directory.path_);
    const bool isNew = mkdir(text.c_str(), ownerBits) == 0;
    if (!isNew && errno != EEXIST) raiseSystemError(errno, text, "cannot be made");
    try {
        directory.openForWriter(isNew);
    } catch (const std::system_error&) {
        // Without its modes, it would keep out those who may read for good.
        if (isNew) rmdir(text.c_str());
        throw;
    }
    return directory;
}

void TableDirectory::openForWriter(bool isNew) {
    const std::string text = path_;
    file_ =
        Rix::FileDescriptor(::open(text.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!file_.isOpen()) raiseSystemError(errno, text, "cannot be opened as a directory");
    owner_ = geteuid();
    if (isNew) modesAre(file_, "", access_.mayRead, 0755);
    struct stat status {};
    if (fstat(file_.number(), &status) != 0) raiseSystemError(errno, text, "cannot be examined");
    requireTrust(status, text, 0);
}

TableDirectory TableDirectory::forReader(const std::filesystem::path& path) {
    TableDirectory directory(absolutePath(path), {});
    const std::string text = directory.path_;
    directory.file_ = Rix::FileDescriptor(::open(text.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    struct stat status {};
    if (!directory.file_.isOpen() || fstat(directory.file_.number(), &status) != 0) {
        raiseSystemError(errno, directory.pathOf("table"), "cannot be opened");
    }
    directory.owner_ = status.st_uid;
    directory.requireTrust(status, text, 0);
    return directory;
}

void TableDirectory::requireTrust(const struct stat& status, const std::string& path,
                                  mode_t mayWrite) const {
    if (status.st_uid != 0 && status.st_uid != geteuid() && status.st_uid != owner_) {
        raiseSystemError(EPERM, path, "belongs to another user, who could change it at will");
    }
    if ((status.st_mode & (S_IWGRP | S_IWOTH) & ~mayWrite) != 0) {
        raiseSystemError(EPERM, path, "may be written by others than its owner");
    }
}

Rix::FileDescriptor TableDirectory::find(const char* name, int flags, mode_t mayWrite) const {
    Rix::FileDescriptor file(
        openat(file_.number(), name, flags | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
    if (!file.isOpen()) {
        if (errno == ENOENT) return file;
        raiseSystemError(errno, pathOf(name), "cannot be opened");
    }
    struct stat status {};
    if (fstat(file.number(), &status) != 0) {
        raiseSystemError(errno, pathOf(name), "cannot be examined");
    }
    if (!S_ISREG(status.st_mode)) raiseSystemError(EINVAL, pathOf(name), "is not a regular file");
    requireTrust(status, pathOf(name), mayWrite);
    return file;
}

Rix::FileDescriptor TableDirectory::create(const char* name) const {
    Rix::FileDescriptor file(
        openat(file_.number(), name, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!file.isOpen()) raiseSystemError(errno, pathOf(name), "cannot be created");
    return file;
}

void TableDirectory::modesAre(const Rix::FileDescriptor& file, const char* name,
                              std::optional<Who> who, mode_t bits) const {
    const bool isForGroup = who && *who != Who::owner && access_.group;
    if (isForGroup && fchown(file.number(), static_cast<uid_t>(-1), *access_.group) != 0) {
        raiseSystemError(errno, pathOf(name), "cannot be given to its group");
    }
    if (fchmod(file.number(), bitsFor(who.value_or(Who::owner), bits)) != 0) {
        raiseSystemError(errno, pathOf(name), "cannot be given its mode");
    }
}

void TableDirectory::remove(const char* name) const {
    if (unlinkat(file_.number(), name, 0) != 0 && errno != ENOENT) {
        raiseSystemError(errno, pathOf(name), "cannot be removed");
    }
}

void TableDirectory::rename(const char* from, const char* to) const {
    if (renameat(file_.number(), from, file_.number(), to) != 0) {
        raiseSystemError(errno, pathOf(to), "cannot be put in place");
    }
}

std::optional<FileId> TableDirectory::idOf(const char* name) const {
    struct stat status {};
    if (fstatat(file_.number(), name, &status, AT_SYMLINK_NOFOLLOW) == 0) {
        return Storage::idOf(status);
    }
    if (errno != ENOENT) raiseSystemError(errno, pathOf(name), "cannot be examined");
    return std::nullopt;
}

TableDirectory::Presence TableDirectory::presence(const char* name, FileId once) const {
    struct stat status {};
    const bool isPath = *name == '\0';
    const int result = isPath ? stat(path_.c_str(), &status)
                              : fstatat(file_.number(), name, &status, AT_SYMLINK_NOFOLLOW);
    if (result != 0) return errno == ENOENT || errno == ENOTDIR ? Presence::none : Presence::same;
    return Storage::idOf(status) == once ? Presence::same : Presence::other;
}

FileId TableDirectory::id() const {
    struct stat status {};
    if (fstat(file_.number(), &status) != 0) raiseSystemError(errno, path_, "cannot be examined");
    return Storage::idOf(status);
}

}  // namespace Routing::Gmp::Tessel::Storage
