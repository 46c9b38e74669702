// Reading and writing files, pipes and terminals, whoever opened them and however.
#pragma once

#include <cstddef>
#include <string_view>

namespace Irbmc::Replay {

/// Reads some bytes, and waits for them even where the descriptor does not block.
/// @returns how many; 0 at the end
/// @throws std::system_error if it cannot be read
std::size_t readSome(int descriptor, char* bytes, std::size_t size);

/// Writes all bytes, and waits for room even where the descriptor does not block.
/// @returns 0, or the system's error number
int writeAll(int descriptor, std::string_view bytes);

/// Writes one line to standard error, control characters replaced. A failure is dropped: there is
/// nobody left to tell.
void tell(std::string_view text);

}  // namespace Irbmc::Replay
