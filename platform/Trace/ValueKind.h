#pragma once

#include <cstdint>

namespace Trace {

/// How a value lies in a ring record. The numbers are part of the file format and never change.
/// Numbers are in the byte order of the machine that wrote them, which the file's header tells.
enum class ValueKind : std::uint8_t {
    /// The text's length, two bytes (65535 for any longer), then its bytes as they are.
    text = 1,
    /// A family byte, then as many bytes in network order as that family has: 4 (IPv4), 16 (IPv6
    /// and families of other values), or none.
    address = 2,
    /// An interface: its short name, laid out as a text.
    interface = 3,
    /// One byte: 0 exclude, 1 include.
    filterMode = 4,
    /// One byte, the application's number.
    application = 5,
    /// One byte: 0 false, 1 true.
    boolean = 6,
    /// Unsigned numbers of 1, 2 (VLAN numbers), 4 (counts) and 8 bytes, a signed one of 8.
    unsigned8 = 7,
    unsigned16 = 8,
    unsigned32 = 9,
    unsigned64 = 10,
    signed64 = 11,
    /// The name of the function that traced, where only the run knows it; laid out as a text. It
    /// comes first and is no value of the message.
    function = 12,
};

}  // namespace Trace
