#pragma once

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>

#include "Ondel/IntfId.h"
#include "Ondel/IpGenAddr.h"
#include "model/Table.h"

// How values print in messages.
namespace model {

inline void append(std::string& out, std::string_view text) {
    out += text;
}
inline void append(std::string& out, const char* text) {
    out += text;
}
inline void append(std::string& out, const std::string& text) {
    out += text;
}
inline void append(std::string& out, bool value) {
    out += value ? "true" : "false";
}
inline void append(std::string& out, std::unsigned_integral auto value) {
    out += std::to_string(value);
}
inline void append(std::string& out, const Ondel::IpGenAddr& address) {
    out += address.text();
}
inline void append(std::string& out, Ondel::IntfId intf) {
    out += intf.shortName();
}
inline void append(std::string& out, Mode mode) {
    out += mode == Mode::include ? "include" : "exclude";
}

/// The parts, one after the other.
template <class... Parts>
std::string text(const Parts&... parts) {
    std::string out;
    (append(out, parts), ...);
    return out;
}

}  // namespace model
