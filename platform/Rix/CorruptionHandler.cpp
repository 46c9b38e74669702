#include "Rix/CorruptionHandler.h"

#include <cstdio>

namespace Rix {

void reportCorruption(CorruptionHandler* handler, std::string_view message) {
    if (handler) return handler->onCorruption(message);
    std::fprintf(stderr, "corruption: %.*s\n", static_cast<int>(message.size()), message.data());
}

}  // namespace Rix
