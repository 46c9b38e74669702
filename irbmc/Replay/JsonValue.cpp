#include "Replay/JsonValue.h"

#include <nlohmann/json.hpp>
#include <unordered_set>

#include "Replay/FormatError.h"

namespace Irbmc::Replay {

namespace {

/// What a syntax error says, without the library's own labels, the position inside the line, and
/// the bytes last read, which may be anything.
std::string syntaxErrorReason(std::string_view message) {
    if (message.starts_with('[')) message.remove_prefix(message.find("] ") + 2);
    const auto label = message.find(": ");
    if (label != std::string_view::npos) message.remove_prefix(label + 2);
    const auto lastRead = message.find("; last read: ");
    if (lastRead == std::string_view::npos) return std::string(message);
    const auto expected = message.rfind("; expected ");
    std::string reason(message.substr(0, lastRead));
    if (expected != std::string_view::npos && expected > lastRead) {
        reason += message.substr(expected);
    }
    return reason;
}

}  // namespace

/// Builds a JsonValue from the parser's events. The open arrays and objects stand on a stack; a
/// finished one is moved into the one below it.
class JsonBuilder : public nlohmann::json_sax<nlohmann::json> {
  public:
    JsonValue result() { return std::move(result_); }

    bool null() override { return put(JsonValue(nullptr)); }
    bool boolean(bool value) override { return put(JsonValue(value)); }
    bool number_integer(std::int64_t value) override { return put(JsonValue(value)); }
    bool number_unsigned(std::uint64_t value) override {
        if (std::in_range<std::int64_t>(value)) {
            return put(JsonValue(static_cast<std::int64_t>(value)));
        }
        return put(JsonValue(value));
    }
    bool number_float(double value, const std::string& /*text*/) override {
        return put(JsonValue(value));
    }
    bool string(std::string& value) override { return put(JsonValue(std::move(value))); }
    bool binary(nlohmann::json::binary_t& /*value*/) override { return false; }

    bool start_object(std::size_t /*size*/) override {
        return open(JsonValue(JsonValue::Object()));
    }
    bool start_array(std::size_t /*size*/) override { return open(JsonValue(JsonValue::Array())); }
    bool end_object() override { return close(); }
    bool end_array() override { return close(); }

    bool key(std::string& name) override {
        Level& level = open_.back();
        if (!level.names.insert(name).second) {
            throw FormatError("field " + jsonString(name) + " is given twice");
        }
        level.name = std::move(name);
        return true;
    }

    bool parse_error(std::size_t position, const std::string& /*token*/,
                     const nlohmann::json::exception& error) override {
        throw FormatError("malformed JSON at byte " + std::to_string(position) + ": " +
                          syntaxErrorReason(error.what()));
    }

  private:
    struct Level {
        JsonValue value;
        /// The name of the member whose value comes next, and all names so far, for an object.
        std::string name;
        std::unordered_set<std::string> names;
    };

    bool open(JsonValue value) {
        if (open_.size() == JsonValue::maxDepth) {
            throw FormatError("nested deeper than " + std::to_string(JsonValue::maxDepth) +
                              " levels");
        }
        open_.push_back({std::move(value), {}, {}});
        return true;
    }

    bool close() {
        JsonValue closed = std::move(open_.back().value);
        open_.pop_back();
        return put(std::move(closed));
    }

    bool put(JsonValue value) {
        if (open_.empty()) {
            result_ = std::move(value);
            return true;
        }
        Level& level = open_.back();
        if (auto* array = std::get_if<JsonValue::Array>(&level.value.content_)) {
            array->push_back(std::move(value));
        } else {
            auto& object = std::get<JsonValue::Object>(level.value.content_);
            object.emplace_back(std::move(level.name), std::move(value));
        }
        return true;
    }

    std::vector<Level> open_;
    JsonValue result_;
};

JsonValue JsonValue::parse(std::string_view text) {
    // The parser takes these two for nothing at all where they stand outside a string.
    if (text.find('\0') != std::string_view::npos) throw FormatError("malformed JSON: a zero byte");
    if (text.starts_with("\xef\xbb\xbf")) throw FormatError("malformed JSON: a byte order mark");
    JsonBuilder builder;
    nlohmann::json::sax_parse(text, &builder);
    return builder.result();
}

bool JsonValue::isNumber() const {
    return as<std::int64_t>() != nullptr || as<std::uint64_t>() != nullptr ||
           as<double>() != nullptr;
}

std::string JsonValue::numberText() const {
    if (const auto* number = as<std::int64_t>()) return std::to_string(*number);
    if (const auto* number = as<std::uint64_t>()) return std::to_string(*number);
    if (const auto* number = as<double>()) return nlohmann::json(*number).dump();
    return {};
}

std::string JsonValue::description() const {
    static constexpr std::size_t longest = 60;
    if (as<Array>() != nullptr) return "an array";
    if (as<Object>() != nullptr) return "an object";
    if (as<std::nullptr_t>() != nullptr) return "null";
    if (const auto* flag = as<bool>()) return *flag ? "true" : "false";
    const auto* text = as<std::string>();
    if (text == nullptr) return numberText();
    if (text->size() <= longest) return jsonString(*text);
    std::size_t end = longest;
    while (end > 0 && (static_cast<unsigned char>((*text)[end]) & 0xc0) == 0x80)
        --end;
    return jsonString(text->substr(0, end)) + "...";
}

std::string jsonString(std::string_view text) {
    return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

}  // namespace Irbmc::Replay
