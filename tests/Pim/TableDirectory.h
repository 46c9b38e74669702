#pragma once

#include <filesystem>
#include <fstream>
#include <string>

#include "TemporaryDirectory.h"

namespace Irb::Multicast::Ingress::Detail {

/// A directory in shared memory for a table, gone with the test, whose bytes can be damaged behind
/// the writer's back.
class TableDirectory : public TemporaryDirectory {
  public:
    TableDirectory() : TemporaryDirectory("/dev/shm") {}

    /// Changes these bytes of its files wherever they are; whether they are anywhere.
    bool damage(const std::string& bytes) const {
        bool found = false;
        for (const auto& entry : std::filesystem::directory_iterator(path())) {
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
};

}  // namespace Irb::Multicast::Ingress::Detail
