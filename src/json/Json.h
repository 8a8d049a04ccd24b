/// @file
/// Text in the form of JSON.
#pragma once

#include <cstdint>
#include <string>

namespace json {

/// A text between quotation marks. Bytes that are no UTF-8 become U+FFFD.
std::string quoted(const std::string& text);

/// An object, member by member in the order in which they are added. An ordinary value.
class Object {
public:
    Object& text(const std::string& name, const std::string& value) { return raw(name, quoted(value)); }
    template <typename Number> Object& number(const std::string& name, Number value) {
        return raw(name, std::to_string(value));
    }
    Object& truth(const std::string& name, bool value) { return raw(name, value ? "true" : "false"); }
    Object& null(const std::string& name) { return raw(name, "null"); }
    /// A value that is JSON already.
    Object& raw(const std::string& name, const std::string& value);

    std::string print() const { return "{" + members + "}"; }

private:
    std::string members;
};

} // namespace json
