// An open file that cannot be forgotten.
#pragma once

#include <unistd.h>

#include <utility>

namespace Rix {

/// An open file of the operating system: closed when its owner goes, on every way out.
class FileDescriptor {
  public:
    FileDescriptor() noexcept = default;
    /// Takes over what open(2) and its like answered; a negative number is no file.
    explicit FileDescriptor(int number) noexcept : number_(number) {}
    FileDescriptor(FileDescriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
    ~FileDescriptor() {
        if (isOpen()) ::close(number_);
    }

    bool isOpen() const noexcept { return number_ >= 0; }
    /// For system calls. Stays the owner's.
    int number() const noexcept { return number_; }

  private:
    int number_ = -1;
};

}  // namespace Rix
