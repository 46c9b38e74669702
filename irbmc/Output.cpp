#include "Output.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "Replay/Streams.h"

namespace Irbmc {

void Output::write(std::string_view bytes) {
    static constexpr std::size_t enough = std::size_t{64} << 10;
    buffer_ += bytes;
    if (buffer_.size() >= enough) flush();
}

void Output::flush() {
    const int error = Replay::writeAll(descriptor_, buffer_);
    if (error != 0) throw OutputError(error);
    buffer_.clear();
}

void Output::checkReader() const {
    pollfd state{descriptor_, 0, 0};
    if (::poll(&state, 1, 0) > 0 && (state.revents & (POLLERR | POLLHUP)) != 0)
        throw OutputError(EPIPE);
}

bool Output::isTerminal() const {
    return ::isatty(descriptor_) != 0;
}

bool isColoured(const Output& output, Colour colour) {
    if (colour != Colour::automatic) return colour == Colour::always;
    const char* const noColor = secure_getenv("NO_COLOR");  // NOLINT(concurrency-mt-unsafe)
    const char* const terminal = secure_getenv("TERM");     // NOLINT(concurrency-mt-unsafe)
    return output.isTerminal() && (noColor == nullptr || *noColor == '\0') &&
           (terminal == nullptr || std::string_view(terminal) != "dumb");
}

}  // namespace Irbmc
