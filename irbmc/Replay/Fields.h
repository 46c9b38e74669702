#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Ondel/IntfId.h"
#include "Ondel/IpGenAddr.h"
#include "Replay/Event.h"
#include "Replay/JsonValue.h"

namespace Irbmc::Replay {

/// The fields of one object of a recording, taken one by one with their types checked; finish()
/// then refuses what nobody took. Every operation raises FormatError for a field that is missing,
/// of the wrong type, or of a value that no field of its kind can hold. Refers to the object that
/// it was made over and lives no longer; one thread.
class Fields {
  public:
    /// @param value must be an object
    explicit Fields(const JsonValue& value);

    /// The field, for the caller to look into; null if it is not given.
    const JsonValue* find(std::string_view name);
    /// Refuses fields that were not taken.
    void finish() const;

    bool boolean(std::string_view name);
    std::string text(std::string_view name);
    std::string textOr(std::string_view name, std::string_view absent);
    std::uint32_t integer(std::string_view name, std::uint32_t limit);
    /// What a name stands for, or nothing.
    using Named = std::optional<std::uint8_t> (*)(std::string_view name);
    /// A number 0..255, or one of the names that `named` knows; `names` lists those for people.
    std::uint8_t byteOr(std::string_view name, std::uint8_t absent, Named named,
                        std::string_view names);
    VlanNumber vlan() { return integer("vlan", UINT32_MAX); }
    Ondel::IpGenAddr address(std::string_view name);
    /// The same, where "*" stands for any source of the group's family.
    Ondel::IpGenAddr source(const Ondel::IpGenAddr& group);
    Ondel::IntfId intf();
    /// Interface names; none if the field is not given.
    std::vector<Ondel::IntfId> intfs(std::string_view name);
    JoinMode mode(std::string_view name);
    JoinMode modeOr(std::string_view name, JoinMode absent);

    /// What `read` makes of each object of the array; none if the field is not given.
    template <class Read>
    auto objects(std::string_view name, Read read) {
        std::vector<decltype(read(std::declval<Fields&>()))> results;
        for (const JsonValue& value : array(name)) {
            Fields fields(value);
            results.push_back(read(fields));
            fields.finish();
        }
        return results;
    }
    /// The items of an array field; none if it is not given.
    const JsonValue::Array& array(std::string_view name);
    /// The members of an object field; none if it is not given.
    const JsonValue::Object& members(std::string_view name);

  private:
    const JsonValue& required(std::string_view name);

    const JsonValue::Object* members_;
    std::vector<bool> taken_;
};

/// The value as an integer 0..`limit`. @throws FormatError naming the field
std::uint32_t integerOf(const JsonValue& value, std::string_view field, std::uint32_t limit);
/// The value as a text. @throws FormatError naming the field
const std::string& textOf(const JsonValue& value, std::string_view field);
/// A VLAN number that stands as a member's name. @throws FormatError
VlanNumber vlanNamed(const std::string& text, std::string_view field);

}  // namespace Irbmc::Replay
