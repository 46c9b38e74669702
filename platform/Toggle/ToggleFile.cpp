#include "Toggle/ToggleFile.h"

#include <algorithm>
#include <functional>
#include <nlohmann/json.hpp>
#include <set>

#include "Toggle/ToggleFileError.h"

namespace Toggle {

namespace {

using Json = nlohmann::json;

/// How much of a value is kept for a message about it.
constexpr std::size_t shownBytes = 40;

std::size_t lineOf(std::string_view text, std::size_t byte) {
    const std::string_view before = text.substr(0, byte - 1);
    return 1 + static_cast<std::size_t>(std::count(before.begin(), before.end(), '\n'));
}

/// What the parser says, without its own labels, and without the bytes last read, which may be
/// anything.
std::string reasonOf(std::string_view message) {
    message.remove_prefix(message.find("] ") + 2);
    if (message.starts_with("parse error")) message.remove_prefix(message.find(": ") + 2);
    return std::string(message.substr(0, message.find("; last read: ")));
}

/// Refuses what JSON allows and a toggle file does not have, while it is parsed.
class Rules {
  public:
    bool operator()(int depth, Json::parse_event_t event, const Json& parsed) {
        using Event = Json::parse_event_t;
        if ((event == Event::array_start || event == Event::object_start) &&
            static_cast<std::size_t>(depth) >= ToggleFile::maxDepth) {
            throw ToggleFileError("arrays and objects nested too deep");
        }
        if (event == Event::key && depth == 1 && !names_.insert(parsed.get<std::string>()).second) {
            throw ToggleFileError(parsed.dump() + " is there twice");
        }
        return true;
    }

  private:
    std::set<std::string> names_;
};

Json parsed(std::string_view text) {
    Rules rules;
    try {
        return Json::parse(text.begin(), text.end(), std::ref(rules));
    } catch (const Json::parse_error& error) {
        throw ToggleFileError("line " + std::to_string(lineOf(text, error.byte)) + ": " +
                              reasonOf(error.what()));
    } catch (const Json::exception& error) {
        throw ToggleFileError(reasonOf(error.what()));
    }
}

ToggleFile::Value valueOf(const Json& json) {
    ToggleFile::Value value;
    if (json.is_boolean()) value.isOn = json.get<bool>();
    value.text = json.dump();
    if (value.text.size() > shownBytes) value.text = value.text.substr(0, shownBytes) + "...";
    return value;
}

}  // namespace

ToggleFile ToggleFile::parse(std::string_view text) {
    const Json object = parsed(text);
    if (!object.is_object()) throw ToggleFileError("the file is not one JSON object");
    ToggleFile file;
    for (const auto& [name, json] : object.items())
        file.values_.emplace(name, valueOf(json));
    return file;
}

const ToggleFile::Value* ToggleFile::value(std::string_view name) const {
    const auto found = values_.find(name);
    return found == values_.end() ? nullptr : &found->second;
}

std::vector<std::string> ToggleFile::names() const {
    std::vector<std::string> names;
    for (const auto& [name, value] : values_)
        names.push_back(name);
    return names;
}

}  // namespace Toggle
