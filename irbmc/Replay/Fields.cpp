#include "Replay/Fields.h"

#include <charconv>

#include "Replay/FormatError.h"

namespace Irbmc::Replay {

namespace {

[[noreturn]] void refuse(std::string_view field, std::string_view wanted, const JsonValue& value) {
    throw FormatError(jsonString(field) + " must be " + std::string(wanted) + ", not " +
                      value.description());
}

Ondel::IntfId intfOf(const JsonValue& value, std::string_view field) {
    const auto* name = value.as<std::string>();
    if (name == nullptr || name->empty()) refuse(field, "an interface name", value);
    if (name->size() > Ondel::IntfId::maxNameLength) {
        refuse(field,
               "an interface name of at most " + std::to_string(Ondel::IntfId::maxNameLength) +
                   " bytes",
               value);
    }
    return Ondel::IntfId(*name);
}

JoinMode modeOf(const JsonValue& value, std::string_view field) {
    const auto* mode = value.as<std::string>();
    if (mode != nullptr && *mode == "include") return JoinMode::include;
    if (mode != nullptr && *mode == "exclude") return JoinMode::exclude;
    refuse(field, R"("include" or "exclude")", value);
}

}  // namespace

std::uint32_t integerOf(const JsonValue& value, std::string_view field, std::uint32_t limit) {
    const auto* number = value.as<std::int64_t>();
    if (number == nullptr || *number < 0 || *number > limit) {
        refuse(field, "an integer 0.." + std::to_string(limit), value);
    }
    return static_cast<std::uint32_t>(*number);
}

const std::string& textOf(const JsonValue& value, std::string_view field) {
    const auto* text = value.as<std::string>();
    if (text == nullptr) refuse(field, "a string", value);
    return *text;
}

VlanNumber vlanNamed(const std::string& text, std::string_view field) {
    VlanNumber number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    const bool leadingZero = text.size() > 1 && text.front() == '0';
    if (error != std::errc() || stop != end || leadingZero) {
        throw FormatError("a name in " + jsonString(field) +
                          " must be a VLAN number 0..4294967295, not " +
                          JsonValue(text).description());
    }
    return number;
}

Fields::Fields(const JsonValue& value) : members_(value.as<JsonValue::Object>()) {
    if (members_ == nullptr) throw FormatError("expected an object, not " + value.description());
    taken_.resize(members_->size());
}

const JsonValue* Fields::find(std::string_view name) {
    for (std::size_t i = 0; i < members_->size(); ++i) {
        if ((*members_)[i].first != name) continue;
        taken_[i] = true;
        return &(*members_)[i].second;
    }
    return nullptr;
}

void Fields::finish() const {
    for (std::size_t i = 0; i < members_->size(); ++i) {
        if (taken_[i]) continue;
        throw FormatError("unknown field " + JsonValue((*members_)[i].first).description());
    }
}

const JsonValue& Fields::required(std::string_view name) {
    const JsonValue* value = find(name);
    if (value == nullptr) throw FormatError("missing field " + jsonString(name));
    return *value;
}

bool Fields::boolean(std::string_view name) {
    const JsonValue& value = required(name);
    const auto* flag = value.as<bool>();
    if (flag == nullptr) refuse(name, "true or false", value);
    return *flag;
}

std::string Fields::text(std::string_view name) {
    return textOf(required(name), name);
}

std::string Fields::textOr(std::string_view name, std::string_view absent) {
    const JsonValue* value = find(name);
    return value == nullptr ? std::string(absent) : textOf(*value, name);
}

std::uint32_t Fields::integer(std::string_view name, std::uint32_t limit) {
    return integerOf(required(name), name, limit);
}

std::uint8_t Fields::byteOr(std::string_view name, std::uint8_t absent, Named named,
                            std::string_view names) {
    const JsonValue* value = find(name);
    if (value == nullptr) return absent;
    if (const auto* text = value->as<std::string>()) {
        if (const auto number = named(*text)) return *number;
        refuse(name, "an integer 0..255 or one of " + std::string(names), *value);
    }
    return static_cast<std::uint8_t>(integerOf(*value, name, UINT8_MAX));
}

Ondel::IpGenAddr Fields::address(std::string_view name) {
    const JsonValue& value = required(name);
    if (const auto* text = value.as<std::string>()) {
        if (const auto address = Ondel::IpGenAddr::parse(*text)) return *address;
    }
    refuse(name, "an IPv4 or IPv6 address", value);
}

Ondel::IpGenAddr Fields::source(const Ondel::IpGenAddr& group) {
    const auto* text = required("source").as<std::string>();
    if (text != nullptr && *text == "*") return Ondel::IpGenAddr::zero(group.family());
    return address("source");
}

Ondel::IntfId Fields::intf() {
    return intfOf(required("intf"), "intf");
}

std::vector<Ondel::IntfId> Fields::intfs(std::string_view name) {
    std::vector<Ondel::IntfId> intfs;
    for (const JsonValue& value : array(name)) {
        intfs.push_back(intfOf(value, name));
    }
    return intfs;
}

JoinMode Fields::mode(std::string_view name) {
    return modeOf(required(name), name);
}

JoinMode Fields::modeOr(std::string_view name, JoinMode absent) {
    const JsonValue* value = find(name);
    return value == nullptr ? absent : modeOf(*value, name);
}

const JsonValue::Array& Fields::array(std::string_view name) {
    static const JsonValue::Array none;
    const JsonValue* value = find(name);
    if (value == nullptr) return none;
    const auto* items = value->as<JsonValue::Array>();
    if (items == nullptr) refuse(name, "an array", *value);
    return *items;
}

const JsonValue::Object& Fields::members(std::string_view name) {
    static const JsonValue::Object none;
    const JsonValue* value = find(name);
    if (value == nullptr) return none;
    const auto* members = value->as<JsonValue::Object>();
    if (members == nullptr) refuse(name, "an object", *value);
    return *members;
}

}  // namespace Irbmc::Replay
