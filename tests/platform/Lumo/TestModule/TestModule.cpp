// A module with one type, for the tests of loading.
#include "Lumo/Object.h"
#include "Lumo/TypeData.h"

namespace {

class Thing final : public Lumo::Object<Thing> {
  public:
    static const Lumo::TypeData& type() {
        static const Lumo::TypeData data("TestModule::Thing", {}, {}, [](Lumo::Arguments) {
            return Lumo::Ptr<Lumo::Node>(Lumo::make<Thing>());
        });
        return data;
    }
};

}  // namespace

extern "C" void lumoModuleTypes() {
    Thing::type();
}
