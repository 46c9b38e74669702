#include "Replay/Streams.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <system_error>

#include "Replay/Wording.h"

namespace Irbmc::Replay {

namespace {

/// Whether the call that failed so is to be made again, at once or after a wait.
bool isToBeRepeated(int error, int descriptor, short event) {
    if (error == EINTR) return true;
    if (error != EAGAIN && error != EWOULDBLOCK) return false;
    pollfd ready{descriptor, event, 0};
    return ::poll(&ready, 1, -1) >= 0 || errno == EINTR;
}

}  // namespace

std::size_t readSome(int descriptor, char* bytes, std::size_t size) {
    ssize_t count = 0;
    do {
        count = ::read(descriptor, bytes, size);
    } while (count < 0 && isToBeRepeated(errno, descriptor, POLLIN));
    if (count < 0) throw std::system_error(errno, std::generic_category());
    return static_cast<std::size_t>(count);
}

int writeAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
        if (count >= 0) {
            bytes.remove_prefix(static_cast<std::size_t>(count));
        } else if (!isToBeRepeated(errno, descriptor, POLLOUT)) {
            return errno;
        }
    }
    return 0;
}

void tell(std::string_view text) {
    writeAll(STDERR_FILENO, printable(text) + "\n");
}

}  // namespace Irbmc::Replay
