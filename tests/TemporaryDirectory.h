#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

/// A directory of a test's own, gone with this object and everything in it.
class TemporaryDirectory {
  public:
    /// @param parent where it is made: /dev/shm for what is to be in shared memory
    explicit TemporaryDirectory(
        const std::filesystem::path& parent = std::filesystem::temp_directory_path())
        : path_(made(parent)) {}
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    ~TemporaryDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }

    const std::filesystem::path& path() const { return path_; }
    /// The path of a file in it.
    std::string file(const std::string& name) const { return path_ / name; }

  private:
    static std::filesystem::path made(const std::filesystem::path& parent) {
        std::string name = parent / "irbmc-test-XXXXXX";
        if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary directory");
        return name;
    }

    const std::filesystem::path path_;
};
