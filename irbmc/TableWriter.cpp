#include "TableWriter.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "Rix/FileDescriptor.h"

namespace Irbmc {

TableWriter TableWriter::of(const std::string& directory) {
    const std::string path = directory + "/writer";
    const Rix::FileDescriptor file(
        ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!file.isOpen()) return {errno == ENOENT ? State::gone : State::unknown, 0};
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    if (::fcntl(file.number(), F_GETLK, &lock) != 0) return {};
    if (lock.l_type != F_WRLCK) return {State::gone, 0};
    // A process that cannot be told by a number here has 0 or -1.
    return {State::alive, lock.l_pid > 0 ? lock.l_pid : 0};
}

std::string TableWriter::text() const {
    switch (state) {
        case State::alive:
            return process == 0 ? "its writer lives"
                                : "written by process " + std::to_string(process);
        case State::gone:
            return "its writer is gone";
        case State::unknown:
            break;
    }
    return "whether its writer lives may not be asked";
}

std::string TableWriter::stateText() const {
    switch (state) {
        case State::alive:
            return "alive";
        case State::gone:
            return "gone";
        case State::unknown:
            break;
    }
    return "unknown";
}

}  // namespace Irbmc
