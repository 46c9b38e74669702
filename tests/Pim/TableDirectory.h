#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <system_error>

namespace Irb::Multicast::Ingress::Detail {

/// A directory in shared memory for a table, gone with the test, whose bytes can be damaged behind
/// the writer's back.
class TableDirectory {
  public:
    TableDirectory() = default;
    TableDirectory(const TableDirectory&) = delete;
    TableDirectory& operator=(const TableDirectory&) = delete;
    ~TableDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }

    const std::filesystem::path& path() const { return path_; }

    /// Changes these bytes of its files wherever they are; whether they are anywhere.
    bool damage(const std::string& bytes) const {
        bool found = false;
        for (const auto& entry : std::filesystem::directory_iterator(path_)) {
            std::fstream file(entry.path(), std::ios::in | std::ios::out | std::ios::binary);
            std::string content(std::filesystem::file_size(entry.path()), '\0');
            file.read(content.data(), static_cast<std::streamsize>(content.size()));
            for (std::size_t at = content.find(bytes); at != std::string::npos;
                 at = content.find(bytes, at + 1)) {
                file.clear();
                file.seekp(static_cast<std::streamoff>(at));
                file.put('\xee');
                found = true;
            }
        }
        return found;
    }

  private:
    static std::filesystem::path made() {
        std::string name = "/dev/shm/pim-test-XXXXXX";
        if (!mkdtemp(name.data())) throw std::runtime_error("no temporary directory");
        return name;
    }

    const std::filesystem::path path_ = made();
};

}  // namespace Irb::Multicast::Ingress::Detail
