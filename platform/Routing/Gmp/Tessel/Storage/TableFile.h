#pragma once

#include <cstddef>
#include <filesystem>
#include <string>

#include "Rix/FileDescriptor.h"
#include "Routing/Gmp/Tessel/Storage/Format.h"

namespace Routing::Gmp::Tessel::Storage {

/// The file of a table and its mapping into this process. The mapping never moves: address space is
/// reserved once for all that the file may grow to. Owned by the table or the reader over it; may
/// be used from any thread, but only the writer's thread may make it grow.
///
/// Every error of the operating system is a std::system_error whose message starts with the file's
/// path.
class TableFile {
  public:
    enum class Access { read, write };
    /// Whether the file may become longer while it is open.
    enum class Size { fixed, growing };

    /// An open file of the table.
    /// @throws std::system_error if there is none, or it may not be opened so
    static TableFile open(const std::filesystem::path& path, Access access, Size size);
    /// A new file, in place of any of that path, with `pages` pages of zeros.
    static TableFile create(const std::filesystem::path& path, PageNumber pages, Size size);
    /// A file without a name, for this process alone.
    static TableFile anonymous(PageNumber pages, Size size);

    TableFile(TableFile&& other) noexcept;
    TableFile(const TableFile&) = delete;
    TableFile& operator=(const TableFile&) = delete;
    TableFile& operator=(TableFile&&) = delete;
    ~TableFile();

    const std::string& path() const { return path_; }
    /// The size when it was opened, or after it grew by this object.
    PageNumber pages() const { return pages_; }
    /// The size now, which another process may have changed, as far as it is mapped here.
    PageNumber currentPages() const;

    std::byte* page(PageNumber number) const { return base_ + std::size_t{number} * pageBytes; }
    template <class Type>
    Type& at(PageNumber number) const {
        return *reinterpret_cast<Type*>(page(number));
    }

    /// Makes the file that long, all new memory there and zero. Nothing is changed if it cannot be.
    /// @throws std::system_error if memory, disk or address space is full, or the file was deleted
    void pagesIs(PageNumber pages);
    /// Makes a file that was created under another name known under this one, at once.
    void pathIs(const std::filesystem::path& path);

  private:
    TableFile(Rix::FileDescriptor file, std::string path, Access access, std::size_t reserve);
    void map(Access access, std::size_t reserve);
    bool isDeleted() const;

    Rix::FileDescriptor file_;
    std::string path_;
    bool named_ = true;
    std::byte* base_ = nullptr;
    std::size_t reserved_ = 0;
    PageNumber pages_ = 0;
};

/// What a failed system call raises: the path, what was attempted, and the system's own text.
[[noreturn]] void raiseSystemError(int error, const std::string& path, const char* attempt);

}  // namespace Routing::Gmp::Tessel::Storage
