#include "Trace/RingRecord.h"

#include <algorithm>
#include <cstring>

#include "Trace/Format.h"
#include "Trace/ValueTraits.h"

namespace Trace {

namespace {

template <class Number>
Number numberOf(const std::string& bytes) {
    Number number{};
    std::memcpy(&number, bytes.data(), std::min(bytes.size(), sizeof number));
    return number;
}

template <class T>
std::string printed(const T& value) {
    std::string out;
    ValueTraits<T>::print(out, value);
    return out;
}

std::string addressText(const std::string& bytes) {
    Ondel::IpGenAddr::Bytes address{};
    if (bytes.size() > 1) {
        std::memcpy(address.data(), bytes.data() + 1, std::min(bytes.size() - 1, address.size()));
    }
    const auto family = static_cast<Ondel::IpGenAddr::Family>(numberOf<std::uint8_t>(bytes));
    return printed(Ondel::IpGenAddr(family, address));
}

}  // namespace

std::string RingValue::text() const {
    switch (kind) {
        case ValueKind::text:
        case ValueKind::interface:
        case ValueKind::function:
            return isCut ? bytes + "..." : bytes;
        case ValueKind::address:
            return addressText(bytes);
        case ValueKind::filterMode:
            return printed(
                static_cast<Routing::Gmp::Tessel::FilterMode>(numberOf<std::uint8_t>(bytes)));
        case ValueKind::application:
            return printed(static_cast<Routing::Gmp::Tessel::App>(numberOf<std::uint8_t>(bytes)));
        case ValueKind::boolean:
            return printed(numberOf<std::uint8_t>(bytes) != 0);
        case ValueKind::unsigned8:
            return printed(numberOf<std::uint8_t>(bytes));
        case ValueKind::unsigned16:
            return printed(numberOf<std::uint16_t>(bytes));
        case ValueKind::unsigned32:
            return printed(numberOf<std::uint32_t>(bytes));
        case ValueKind::unsigned64:
            return printed(numberOf<std::uint64_t>(bytes));
        case ValueKind::signed64:
            return printed(numberOf<std::int64_t>(bytes));
    }
    return "?";
}

std::string RingRecord::text() const {
    std::string out;
    std::string_view rest = format;
    const std::size_t places = placeholderCount(rest);
    for (std::size_t i = 0; i < places; ++i) {
        appendLiteral(out, rest);
        out += i < values.size() ? values[i].text() : "?";
    }
    out += rest;
    return out;
}

}  // namespace Trace
