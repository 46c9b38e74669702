#include "Ondel/IpGenAddr.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace Ondel {

namespace {

using Words = std::array<unsigned, 8>;

/// The longest run of two or more zero words, the first of equals; length 0 if there is none.
struct ZeroRun {
    std::size_t begin = 0;
    std::size_t length = 0;
};

ZeroRun longestZeroRun(const Words& words) {
    ZeroRun best;
    for (std::size_t i = 0; i < words.size(); ++i) {
        std::size_t end = i;
        while (end < words.size() && words[end] == 0)
            ++end;
        if (end - i >= 2 && end - i > best.length) best = {i, end - i};
        i = std::max(i, end);
    }
    return best;
}

std::string ipv4Text(const std::uint8_t* bytes) {
    char text[INET_ADDRSTRLEN];
    std::snprintf(text, sizeof text, "%u.%u.%u.%u", bytes[0], bytes[1], bytes[2], bytes[3]);
    return text;
}

/// RFC 5952, sections 4 and 5: lower case, no leading zeros, the longest run of zero words
/// shortened, an IPv4-mapped address with its dotted quad.
std::string ipv6Text(const IpGenAddr::Bytes& bytes) {
    static constexpr IpGenAddr::Bytes mapped{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff};
    if (std::memcmp(bytes.data(), mapped.data(), 12) == 0) {
        return "::ffff:" + ipv4Text(bytes.data() + 12);
    }
    Words words;
    for (std::size_t i = 0; i < words.size(); ++i) {
        words[i] = static_cast<unsigned>(bytes[2 * i] << 8 | bytes[2 * i + 1]);
    }
    const ZeroRun run = longestZeroRun(words);
    std::string text;
    for (std::size_t i = 0; i < words.size(); ++i) {
        if (run.length != 0 && i == run.begin) {
            text += "::";
            i += run.length - 1;
            continue;
        }
        if (!text.empty() && text.back() != ':') text += ':';
        char word[5];
        std::snprintf(word, sizeof word, "%x", words[i]);
        text += word;
    }
    return text;
}

}  // namespace

std::optional<IpGenAddr> IpGenAddr::parse(std::string_view text) {
    const std::string terminated(text);
    if (terminated.find('\0') != std::string::npos) return std::nullopt;
    Bytes bytes{};
    if (inet_pton(AF_INET, terminated.c_str(), bytes.data()) == 1) return {{Family::ipv4, bytes}};
    if (inet_pton(AF_INET6, terminated.c_str(), bytes.data()) == 1) return {{Family::ipv6, bytes}};
    return std::nullopt;
}

std::size_t IpGenAddr::length() const {
    switch (family_) {
        case Family::ipv4:
            return 4;
        case Family::ipv6:
            return 16;
        default:
            return 0;
    }
}

bool IpGenAddr::isUnspecified() const {
    return length() != 0 && bytes_ == Bytes{};
}

bool IpGenAddr::isSpecificSource() const {
    return length() != 0 && bytes_ != Bytes{};
}

std::string IpGenAddr::text() const {
    switch (family_) {
        case Family::none:
            return "none";
        case Family::ipv4:
            return ipv4Text(bytes_.data());
        case Family::ipv6:
            return ipv6Text(bytes_);
    }
    return "family" + std::to_string(static_cast<unsigned>(family_));
}

}  // namespace Ondel
