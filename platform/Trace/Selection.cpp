#include "Trace/Selection.h"

namespace Trace {

Selection Selection::parse(std::string_view text) {
    const std::size_t at = text.find('@');
    Selection selection{Levels::parse(text.substr(0, at)), {}};
    if (at != std::string_view::npos) selection.filter = Filter::parse(text.substr(at + 1));
    return selection;
}

}  // namespace Trace
