#include "Toggle/FeatureToggle.h"

#include "Toggle/Toggle.h"
#include "Toggle/Toggles.h"

namespace Toggle {

FeatureToggle::FeatureToggle(std::string_view file, std::string_view name, bool defaultState)
    : file_(file), name_(name), defaultState_(defaultState) {
    Toggles::instance().toggleIs(*this);
}

FeatureToggle::~FeatureToggle() {
    Toggles::instance().toggleDel(*this);
}

bool FeatureToggle::firstRead() {
    const bool isOn = Toggles::instance().read(*this);
    // After the reading, during which the names are locked.
    reportUnknownNames(file_);
    return isOn;
}

std::vector<std::string> knownNames() {
    return Toggles::instance().names();
}

bool isKnown(std::string_view name) {
    return Toggles::instance().isKnown(name);
}

void overrideIs(std::string_view name, bool on) {
    Toggles::instance().overrideIs(name, on);
}

void forget() {
    Toggles::instance().forget();
}

}  // namespace Toggle
