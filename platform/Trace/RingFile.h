#pragma once

#include <cstdint>
#include <string>

#include "Rix/Export.h"

namespace Trace {

/// Puts the process's trace ring, the latest records of everything that is traced, into the file
/// `path` from now on: it survives the process, however that ends, and can be read meanwhile. A
/// file of that name is kept as "<path>.previous", in place of any such. Records from before stay
/// in the former ring. To be called once, when a process starts: the memory of former rings is not
/// given back, since a thread may be writing to it.
/// @param slotCount how many records it holds, rounded up to a power of two, at most 4194304; each
///                  takes 256 bytes
/// @throws std::system_error naming the file; the ring is then where it was
RIX_EXPORT void ringFileIs(const std::string& path, std::uint32_t slotCount = 4096);

}  // namespace Trace
