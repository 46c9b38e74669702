// Feature toggles: switches that an operator sets in a file, read without a restart of anything but
// the process that asks. Any thread may call any of this.
#pragma once

#include <string>
#include <string_view>

#include "Rix/Export.h"

namespace Toggle {

/// The directory of the toggle files: what toggleDirectoryIs said last, else the environment
/// variable IRBMC_TOGGLE_DIR, else /etc/irbmc/toggles. "/dev/null" stands for none: no file is
/// read.
RIX_EXPORT std::string toggleDirectory();
/// The empty text goes back to the environment and the default.
RIX_EXPORT void toggleDirectoryIs(std::string directory);

/// What the file `<toggle directory>/<file>` says of the toggle `name`, read anew by every call.
/// `defaultState` if there is no such file, or if it has no such name. `defaultState` too if the
/// file cannot be read or is malformed (ToggleFile says how it must be) or if the name's value is
/// neither true nor false; that is reported on standard error, the first time for each file.
///
/// A directory that was named and does not exist is reported once, too.
RIX_EXPORT bool getToggleState(std::string_view file, std::string_view name, bool defaultState);

/// Reports each name in that file that no toggle of a loaded library has, on standard error, once.
RIX_EXPORT void reportUnknownNames(std::string_view file);

}  // namespace Toggle
