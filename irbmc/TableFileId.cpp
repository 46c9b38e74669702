#include "TableFileId.h"

#include <sys/stat.h>

namespace Irbmc {

TableFileId TableFileId::of(const std::string& directory) {
    struct stat status {};
    if (::stat((directory + "/table").c_str(), &status) != 0) return {};
    return {status.st_dev, status.st_ino};
}

}  // namespace Irbmc
