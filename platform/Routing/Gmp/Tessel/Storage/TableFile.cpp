#include "Routing/Gmp/Tessel/Storage/TableFile.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <mutex>
#include <utility>
#include <vector>

#include "Routing/Gmp/Tessel/Storage/FaultShield.h"

namespace Routing::Gmp::Tessel::Storage {

namespace {

/// As much as a file may grow to without another mapping.
constexpr std::size_t mostReserved = std::size_t{16} << 30;
constexpr std::size_t leastReserved = std::size_t{1} << 20;

std::size_t fileBytes(PageNumber pages) {
    return std::size_t{pages} * pageBytes;
}

/// A process whose address space is limited needs most of it for itself.
std::size_t reservable() {
    struct rlimit limit {};
    if (getrlimit(RLIMIT_AS, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY) return mostReserved;
    const std::size_t part = limit.rlim_cur / 8 / pageBytes * pageBytes;
    return std::clamp(part, leastReserved, mostReserved);
}

struct stat statusOf(const Rix::FileDescriptor& file, const std::string& path) {
    struct stat status {};
    if (fstat(file.number(), &status) != 0) raiseSystemError(errno, path, "cannot be examined");
    return status;
}

PageNumber wholePages(const struct stat& status) {
    return static_cast<PageNumber>(static_cast<std::size_t>(status.st_size) / pageBytes);
}

/// Asks again where a signal interrupted the call, which some file systems let happen to a call
/// that gets memory. Whoever gets a signal all the time ends, too.
/// @param call gives the system's error, or 0
/// @returns the same
int uninterrupted(auto call) {
    int error = EINTR;
    for (int tries = 0; error == EINTR && tries < 100; ++tries)
        error = call();
    return error;
}

/// Readers never see a length that is taken back: it changes once the memory is there.
/// @returns the system's error, or 0
int lengthen(const Rix::FileDescriptor& file, std::size_t from, std::size_t to) {
    const auto begin = static_cast<off_t>(from);
    const auto end = static_cast<off_t>(to);
    const int error = uninterrupted([&] {
        return fallocate(file.number(), FALLOC_FL_KEEP_SIZE, begin, end - begin) == 0 ? 0 : errno;
    });
    if (error == EOPNOTSUPP) return getMemory(file, from, to - from);
    if (error != 0) return error;
    return ftruncate(file.number(), end) == 0 ? 0 : errno;
}

}  // namespace

int getMemory(const Rix::FileDescriptor& file, std::size_t begin, std::size_t bytes) {
    return uninterrupted([&] {
        return posix_fallocate(file.number(), static_cast<off_t>(begin), static_cast<off_t>(bytes));
    });
}

/// Every mapping of one file, each larger than the one before; they go together.
class TableFile::Mappings {
  public:
    Mappings() { all_.reserve(FaultShield::mostMappings); }
    Mappings(const Mappings&) = delete;
    Mappings& operator=(const Mappings&) = delete;
    ~Mappings() {
        shield_.reset();
        for (const auto& [base, bytes] : all_)
            munmap(base, bytes);
    }

    /// A further mapping; null, with errno, if there is no address space for it.
    std::byte* add(int file, int protection, std::size_t bytes) {
        if (all_.size() == FaultShield::mostMappings) {
            errno = ENOMEM;
            return nullptr;
        }
        void* const base = mmap(nullptr, bytes, protection, MAP_SHARED | MAP_NORESERVE, file, 0);
        if (base == MAP_FAILED) return nullptr;
        all_.emplace_back(base, bytes);
        shield_->cover(base, bytes);
        return static_cast<std::byte*>(base);
    }

    std::mutex& mutex() { return mutex_; }
    FaultShield& shield() { return *shield_; }

  private:
    std::mutex mutex_;
    std::unique_ptr<FaultShield> shield_ = std::make_unique<FaultShield>();
    std::vector<std::pair<void*, std::size_t>> all_;
};

TableFile::TableFile(Rix::FileDescriptor file, std::string path, Access access, Size size)
    : file_(std::move(file)),
      path_(std::move(path)),
      access_(access),
      mappings_(std::make_unique<Mappings>()),
      isCut_(&mappings_->shield().isHit()) {
    pages_ = wholePages(statusOf(file_, path_));
    longest_.store(pages_);
    if (size == Size::onePage) {
        pages_ = std::min(pages_, PageNumber{1});
        base_ = mappings_->add(file_.number(), protection(), pageBytes);
        if (base_ == nullptr) raiseSystemError(errno, path_, "cannot be mapped");
        mapped_ = pageBytes;
    } else {
        reach(std::max(fileBytes(pages_), pageBytes));
    }
}

TableFile::TableFile(TableFile&& other) noexcept
    : file_(std::move(other.file_)),
      path_(std::move(other.path_)),
      access_(other.access_),
      named_(other.named_),
      pages_(other.pages_),
      mappings_(std::move(other.mappings_)),
      isCut_(other.isCut_),
      base_(other.base_.load()),
      mapped_(other.mapped_.load()),
      longest_(other.longest_.load()) {}

TableFile::~TableFile() = default;

TableFile TableFile::anonymous(PageNumber pages) {
    const std::string name = "anonymous GMP status table";
    Rix::FileDescriptor made(memfd_create("gmp-status-table", MFD_CLOEXEC));
    if (!made.isOpen()) raiseSystemError(errno, name, "cannot be created");
    TableFile file(std::move(made), name, Access::write, Size::growing);
    file.named_ = false;
    file.pagesIs(pages);
    return file;
}

FileId TableFile::id() const {
    const struct stat status = statusOf(file_, path_);
    return {status.st_dev, status.st_ino};
}

// --- mapping ------------------------------------------------------------------------------------

int TableFile::protection() const {
    return access_ == Access::write ? PROT_READ | PROT_WRITE : PROT_READ;
}

void TableFile::reach(std::size_t bytes) const {
    const std::lock_guard guard(mappings_->mutex());
    if (mapped_ >= bytes) return;
    // Twice as much as before, so that a file that grows for ever is mapped few times.
    const std::size_t wanted = std::max(mapped_ == 0 ? reservable() : 2 * mapped_, bytes);
    for (std::size_t size = wanted;; size = std::max(size / 2 / pageBytes * pageBytes, bytes)) {
        if (std::byte* const base = mappings_->add(file_.number(), protection(), size)) {
            base_ = base;
            mapped_ = size;
            return;
        }
        if (size == bytes) raiseSystemError(errno, path_, "has no address space to be mapped");
    }
}

PageNumber TableFile::currentPages() const {
    const PageNumber pages = wholePages(statusOf(file_, path_));
    PageNumber longest = longest_;
    while (longest < pages && !longest_.compare_exchange_weak(longest, pages)) {
    }
    if (pages < longest) {
        mappings_->shield().hit();
        raiseCut();
    }
    if (fileBytes(pages) > mapped_) reach(fileBytes(pages));
    return pages;
}

void TableFile::raiseCut() const {
    raiseSystemError(EIO, path_, "was cut short while it was in use");
}

// --- growing ------------------------------------------------------------------------------------

bool TableFile::isDeleted() const {
    return named_ && statusOf(file_, path_).st_nlink == 0;
}

void TableFile::pagesIs(PageNumber pages) {
    const std::size_t oldBytes = fileBytes(pages_);
    const std::size_t newBytes = fileBytes(pages);
    reach(newBytes);
    if (isDeleted()) raiseSystemError(ENOENT, path_, "was deleted and cannot grow");
    checkLimit(newBytes);
    if (const int error = lengthen(file_, oldBytes, newBytes)) {
        // What was got of it is given back; the table needs none of it.
        static_cast<void>(ftruncate(file_.number(), static_cast<off_t>(oldBytes)));
        raiseSystemError(error, path_, "cannot grow");
    }
    pagesMap(pages_, pages - pages_);
    pages_ = pages;
    longest_ = pages;
}

void TableFile::pagesMap(PageNumber first, PageNumber pages) const {
    constexpr int populateForWriting = 23;  // older systems refuse
    static_cast<void>(madvise(page(first), fileBytes(pages), populateForWriting));
}

void TableFile::holeAdd(PageNumber pages) {
    const std::size_t bytes = fileBytes(pages_ + pages);
    reach(bytes);
    checkLimit(bytes);
    if (ftruncate(file_.number(), static_cast<off_t>(bytes)) != 0) {
        raiseSystemError(errno, path_, "cannot grow");
    }
    pages_ += pages;
    longest_ = pages_;
}

void TableFile::memoryGet(PageNumber first, PageNumber pages) const {
    if (pages == 0) return;
    if (const int error = getMemory(file_, fileBytes(first), fileBytes(pages))) {
        raiseSystemError(error, path_, "cannot get its memory");
    }
}

bool TableFile::hasMemory(PageNumber pages) const {
    const auto blocks = static_cast<std::size_t>(statusOf(file_, path_).st_blocks);
    return blocks * 512 >= fileBytes(pages);
}

void TableFile::checkLimit(std::size_t bytes) const {
    // Growing past the process's limit would raise a signal.
    struct rlimit limit {};
    if (getrlimit(RLIMIT_FSIZE, &limit) == 0 && bytes > limit.rlim_cur) {
        raiseSystemError(EFBIG, path_, "cannot grow");
    }
}

}  // namespace Routing::Gmp::Tessel::Storage
