#include "Toggle/ToggleFile.h"

#include <utility>

#include "Toggle/JsonCursor.h"

namespace Toggle {

namespace {

/// How much of a value is kept for a message about it.
constexpr std::size_t shownBytes = 40;

ToggleFile::Value readValue(JsonCursor& cursor) {
    cursor.skipBlanks();
    ToggleFile::Value value;
    value.line = cursor.line();
    const std::size_t begin = cursor.position();
    cursor.skipValue(ToggleFile::maxDepth - 1);
    const std::string_view text = cursor.textFrom(begin);
    if (text == "true") value.isOn = true;
    if (text == "false") value.isOn = false;
    value.text = text.substr(0, shownBytes);
    if (text.size() > shownBytes) value.text += "...";
    return value;
}

}  // namespace

ToggleFile ToggleFile::parse(std::string_view text) {
    JsonCursor cursor(text);
    ToggleFile file;
    cursor.needs('{', "the file is not one JSON object");
    if (!cursor.takes('}')) {
        do {
            std::string name = cursor.string();
            if (file.value(name) != nullptr) cursor.fail("'" + name + "' is there twice");
            cursor.needs(':', "a ':' is missing behind a name");
            Value value = readValue(cursor);
            file.values_.emplace(std::move(name), std::move(value));
        } while (cursor.takes(','));
        cursor.needs('}', "a ',' or '}' is missing");
    }
    cursor.skipBlanks();
    if (!cursor.isAtEnd()) cursor.fail("there is more behind the object");
    return file;
}

const ToggleFile::Value* ToggleFile::value(std::string_view name) const {
    const auto found = values_.find(name);
    return found == values_.end() ? nullptr : &found->second;
}

}  // namespace Toggle
