#pragma once

#include <system_error>

#include "Rix/Export.h"

namespace Routing::Gmp::Tessel {

/// The directory of a table that is in use, or a file in it, was removed or replaced: what is open
/// here is not what others find under its name. A writer must not go on, and a reader reads what
/// nobody writes any more; both may open the directory anew. The message starts with the path of
/// what is gone. The code is ESTALE.
class RIX_EXPORT TableGoneError final : public std::system_error {
  public:
    using std::system_error::system_error;
    TableGoneError(const TableGoneError&) = default;
    TableGoneError& operator=(const TableGoneError&) = default;
    ~TableGoneError() override;
};

}  // namespace Routing::Gmp::Tessel
