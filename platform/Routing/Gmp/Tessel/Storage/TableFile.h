#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <string>

#include "Rix/FileDescriptor.h"
#include "Routing/Gmp/Tessel/Storage/Format.h"
#include "Routing/Gmp/Tessel/Storage/TableDirectory.h"

namespace Routing::Gmp::Tessel::Storage {

/// Gets memory or disk space for a part of a file, which becomes that long.
/// @returns the system's error, or 0
int getMemory(const Rix::FileDescriptor& file, std::size_t begin, std::size_t bytes);

/// The file of a table and its mapping into this process. Address space is reserved for more than
/// the file holds, as far as there is any. Where that does not suffice later, the file is mapped
/// once more: a pointer into it stays good as long as this object. Owned by the table or the reader
/// over it; may be used from any thread, but only the writer's thread may make it grow.
///
/// A file that somebody else cuts short does not end the process: what is missing reads as zeros,
/// and checkWhole() raises an error from then on. Whoever was at work calls it before he believes
/// what he read.
///
/// Every error of the operating system is a std::system_error whose message starts with the file's
/// path.
class TableFile {
  public:
    enum class Access { read, write };
    /// Whether all of the file is mapped, with room for more, or its first page alone.
    enum class Size { onePage, growing };

    /// An open file.
    /// @param path for messages
    TableFile(Rix::FileDescriptor file, std::string path, Access access, Size size);
    /// A file without a name, for this process alone.
    static TableFile anonymous(PageNumber pages);

    TableFile(TableFile&& other) noexcept;
    TableFile(const TableFile&) = delete;
    TableFile& operator=(const TableFile&) = delete;
    TableFile& operator=(TableFile&&) = delete;
    ~TableFile();

    const std::string& path() const { return path_; }
    FileId id() const;
    const Rix::FileDescriptor& descriptor() const { return file_; }
    /// The size when it was opened, or after it grew by this object.
    PageNumber pages() const { return pages_; }
    /// The size now, which another process may have changed; all of that is mapped here then.
    /// @throws std::system_error if there is no address space for it, or the file was cut short
    PageNumber currentPages() const;

    std::byte* page(PageNumber number) const {
        return base_.load(std::memory_order_relaxed) + std::size_t{number} * pageBytes;
    }
    template <class Type>
    Type& at(PageNumber number) const {
        return *reinterpret_cast<Type*>(page(number));
    }

    /// Whether all that was read was there.
    bool isWhole() const { return !isCut_->load(std::memory_order_acquire); }
    /// @throws std::system_error (io_error) if the file was cut short since it was opened
    void checkWhole() const {
        if (!isWhole()) raiseCut();
    }

    /// Makes the file that long, all new memory there and zero. Nothing is changed if it cannot be.
    /// @throws std::system_error if memory, disk or address space is full, or the file was deleted
    void pagesIs(PageNumber pages);
    /// Has pages mapped at once, which costs less than a fault for each. Only speed depends on it.
    void pagesMap(PageNumber first, PageNumber pages) const;
    /// Makes the file longer by pages without memory: memoryGet must come before they are touched.
    /// @throws std::system_error as above
    void holeAdd(PageNumber pages);
    /// Gets memory for pages that may have none: touching those would be found out by a signal.
    /// @throws std::system_error if memory or disk is full
    void memoryGet(PageNumber first, PageNumber pages) const;
    /// Whether the file has memory for that many pages, wherever they are.
    bool hasMemory(PageNumber pages) const;

  private:
    class Mappings;

    int protection() const;
    /// Maps at least that much, and more if there is address space.
    void reach(std::size_t bytes) const;
    bool isDeleted() const;
    [[noreturn]] void raiseCut() const;
    void checkLimit(std::size_t bytes) const;

    Rix::FileDescriptor file_;
    std::string path_;
    Access access_;
    bool named_ = true;
    PageNumber pages_ = 0;
    std::unique_ptr<Mappings> mappings_;
    const std::atomic<bool>* isCut_;
    /// Of the largest mapping. The size is stored last and loaded first.
    mutable std::atomic<std::byte*> base_{nullptr};
    mutable std::atomic<std::size_t> mapped_{0};
    /// The longest that the file was known to be.
    mutable std::atomic<PageNumber> longest_{0};
};

}  // namespace Routing::Gmp::Tessel::Storage
