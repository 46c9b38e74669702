#include "Routing/Gmp/Tessel/Storage/TableFile.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

namespace Routing::Gmp::Tessel::Storage {

namespace {

/// As much as a file may grow to, where the process may have that much address space.
constexpr std::size_t mostReserved = std::size_t{16} << 30;
constexpr std::size_t leastReserved = std::size_t{1} << 20;

std::size_t fileBytes(PageNumber pages) {
    return std::size_t{pages} * pageBytes;
}

std::size_t reserveFor(TableFile::Size size, PageNumber pages) {
    return size == TableFile::Size::growing ? mostReserved : fileBytes(pages);
}

struct stat statusOf(const Rix::FileDescriptor& file, const std::string& path) {
    struct stat status {};
    if (fstat(file.number(), &status) != 0) raiseSystemError(errno, path, "cannot be examined");
    return status;
}

PageNumber wholePages(const struct stat& status) {
    return static_cast<PageNumber>(static_cast<std::size_t>(status.st_size) / pageBytes);
}

}  // namespace

void raiseSystemError(int error, const std::string& path, const char* attempt) {
    throw std::system_error(error, std::generic_category(), path + ": " + attempt);
}

TableFile::TableFile(Rix::FileDescriptor file, std::string path, Access access, std::size_t reserve)
    : file_(std::move(file)), path_(std::move(path)) {
    const struct stat status = statusOf(file_, path_);
    if (!S_ISREG(status.st_mode)) raiseSystemError(EINVAL, path_, "is not a regular file");
    pages_ = wholePages(status);
    // A hole in the file would be found out by a signal, long after this.
    if (access == Access::write && status.st_blocks * 512 < status.st_size) {
        if (const int error = posix_fallocate(file_.number(), 0, status.st_size)) {
            raiseSystemError(error, path_, "cannot get its memory");
        }
    }
    map(access, reserve);
}

TableFile::TableFile(TableFile&& other) noexcept
    : file_(std::move(other.file_)),
      path_(std::move(other.path_)),
      named_(other.named_),
      base_(std::exchange(other.base_, nullptr)),
      reserved_(other.reserved_),
      pages_(other.pages_) {}

TableFile::~TableFile() {
    if (base_ != nullptr) munmap(base_, reserved_);
}

TableFile TableFile::open(const std::filesystem::path& path, Access access, Size size) {
    const int flags = access == Access::write ? O_RDWR : O_RDONLY;
    Rix::FileDescriptor file(::open(path.c_str(), flags | O_CLOEXEC | O_NONBLOCK));
    if (!file.isOpen()) raiseSystemError(errno, path, "cannot be opened");
    return {std::move(file), path, access, reserveFor(size, 1)};
}

TableFile TableFile::create(const std::filesystem::path& path, PageNumber pages, Size size) {
    Rix::FileDescriptor made(::open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
    if (!made.isOpen()) raiseSystemError(errno, path, "cannot be created");
    TableFile file(std::move(made), path, Access::write, reserveFor(size, pages));
    file.pagesIs(pages);
    return file;
}

TableFile TableFile::anonymous(PageNumber pages, Size size) {
    const std::string name = "anonymous GMP status table";
    Rix::FileDescriptor made(memfd_create("gmp-status-table", MFD_CLOEXEC));
    if (!made.isOpen()) raiseSystemError(errno, name, "cannot be created");
    TableFile file(std::move(made), name, Access::write, reserveFor(size, pages));
    file.named_ = false;
    file.pagesIs(pages);
    return file;
}

void TableFile::map(Access access, std::size_t reserve) {
    const int protection = access == Access::write ? PROT_READ | PROT_WRITE : PROT_READ;
    const std::size_t least = std::max(std::min(leastReserved, reserve), fileBytes(pages_));
    for (std::size_t size = std::max(reserve, least);; size = std::max(size / 2, least)) {
        void* const base =
            mmap(nullptr, size, protection, MAP_SHARED | MAP_NORESERVE, file_.number(), 0);
        if (base != MAP_FAILED) {
            base_ = static_cast<std::byte*>(base);
            reserved_ = size;
            return;
        }
        if (size == least) raiseSystemError(errno, path_, "cannot be mapped");
    }
}

PageNumber TableFile::currentPages() const {
    const auto mapped = static_cast<PageNumber>(reserved_ / pageBytes);
    return std::min(wholePages(statusOf(file_, path_)), mapped);
}

bool TableFile::isDeleted() const {
    return named_ && statusOf(file_, path_).st_nlink == 0;
}

void TableFile::pagesIs(PageNumber pages) {
    const std::size_t oldBytes = fileBytes(pages_);
    const std::size_t newBytes = fileBytes(pages);
    if (newBytes > reserved_) raiseSystemError(ENOMEM, path_, "has no address space to grow");
    if (isDeleted()) raiseSystemError(ENOENT, path_, "was deleted and cannot grow");
    // Growing past the process's limit would raise a signal.
    struct rlimit limit {};
    if (getrlimit(RLIMIT_FSIZE, &limit) == 0 && newBytes > limit.rlim_cur) {
        raiseSystemError(EFBIG, path_, "cannot grow");
    }
    const auto added = static_cast<off_t>(newBytes - oldBytes);
    if (const int error = posix_fallocate(file_.number(), static_cast<off_t>(oldBytes), added)) {
        // What was got of it is given back; the table needs none of it.
        static_cast<void>(ftruncate(file_.number(), static_cast<off_t>(oldBytes)));
        raiseSystemError(error, path_, "cannot grow");
    }
    // Later writes meet no page fault. Only speed depends on it: older systems refuse.
    constexpr int populateForWriting = 23;
    static_cast<void>(madvise(base_ + oldBytes, newBytes - oldBytes, populateForWriting));
    pages_ = pages;
}

void TableFile::pathIs(const std::filesystem::path& path) {
    if (rename(path_.c_str(), path.c_str()) != 0) {
        raiseSystemError(errno, path, "cannot be put in place");
    }
    path_ = path;
}

}  // namespace Routing::Gmp::Tessel::Storage
