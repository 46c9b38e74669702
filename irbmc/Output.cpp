#include "Output.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>

namespace Irbmc {

void Output::write(std::string_view bytes) {
    static constexpr std::size_t enough = std::size_t{64} << 10;
    buffer_ += bytes;
    if (buffer_.size() >= enough) flush();
}

void Output::flush() {
    std::string_view left = buffer_;
    while (!left.empty()) {
        const ssize_t count = ::write(descriptor_, left.data(), left.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) throw OutputError(errno);
        left.remove_prefix(static_cast<std::size_t>(count));
    }
    buffer_.clear();
}

bool Output::isTerminal() const {
    return ::isatty(descriptor_) != 0;
}

bool isColoured(const Output& output, Colour colour) {
    if (colour != Colour::automatic) return colour == Colour::always;
    const char* const noColor = std::getenv("NO_COLOR");  // NOLINT(concurrency-mt-unsafe)
    return output.isTerminal() && (noColor == nullptr || *noColor == '\0');
}

}  // namespace Irbmc
