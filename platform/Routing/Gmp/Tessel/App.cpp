#include "Routing/Gmp/Tessel/App.h"

namespace Routing::Gmp::Tessel {

std::string stringValue(App app) {
    switch (app) {
        case App::none:
            return "none";
        case App::irb:
            return "irb";
        case App::gmp:
            return "gmp";
        case App::staticJoin:
            return "static";
    }
    return "app" + std::to_string(static_cast<unsigned>(app));
}

}  // namespace Routing::Gmp::Tessel
