#include "Routing/Pim/Intf.h"

namespace Routing::Pim {

const Lumo::TypeData& Intf::type() {
    static const Lumo::TypeData data("Routing::Pim::Intf",
                                     {{"intfId", [](const Lumo::Node& o) {
                                           return static_cast<const Intf&>(o).intfId().shortName();
                                       }}});
    return data;
}

}  // namespace Routing::Pim
