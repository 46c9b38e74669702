#include "Lumo/ArgumentReader.h"

#include <string>

#include "Lumo/ArgumentError.h"

namespace Lumo {

ArgumentError::~ArgumentError() = default;

ArgumentReader::ArgumentReader(std::string_view operation, Arguments arguments, std::size_t count)
    : operation_(operation), arguments_(arguments) {
    if (arguments.size() != count) {
        throw ArgumentError(std::string(operation) + " takes " + std::to_string(count) +
                            " arguments, not " + std::to_string(arguments.size()));
    }
}

const Argument& ArgumentReader::next() {
    RIX_ASSERT(taken_ < arguments_.size());
    return arguments_[taken_++];
}

std::uint64_t ArgumentReader::numberUpTo(std::uint64_t limit) {
    const auto* number = std::get_if<std::uint64_t>(&next());
    if (!number) refuse("a reference");
    if (*number > limit) refuse(std::to_string(*number));
    return *number;
}

Ptr<const Node> ArgumentReader::nodeFor(std::true_type) {
    const Argument& argument = next();
    if (const auto* writable = std::get_if<Ptr<Node>>(&argument)) return *writable;
    if (const auto* readable = std::get_if<Ptr<const Node>>(&argument)) return *readable;
    refuse("a number");
}

Ptr<Node> ArgumentReader::nodeFor(std::false_type) {
    const Argument& argument = next();
    if (const auto* writable = std::get_if<Ptr<Node>>(&argument)) return *writable;
    const auto* readable = std::get_if<Ptr<const Node>>(&argument);
    if (readable && !*readable) return nullptr;
    refuse(readable ? "an object that may only be read" : "a number");
}

void ArgumentReader::refuse(std::string_view given) const {
    throw ArgumentError(std::string(operation_) + " does not take " + std::string(given) +
                        " as argument " + std::to_string(taken_));
}

}  // namespace Lumo
