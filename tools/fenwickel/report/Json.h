// JSON for programs, one object a line, and for the tool's own small files.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

// Names and values of an object, in the order of printing. Text is UTF-8; no name needs an escape.
using JsonValue = std::variant<int, std::uint64_t, std::string, bool, std::vector<std::string>>;
using JsonFields = std::vector<std::pair<const char*, JsonValue>>;

// Appends the object, which has at least one field, and a line feed.
void AppendJsonLine(std::string& text, const JsonFields& fields);

// Prints {"result": ..., "message": ..., then the fields} on one line.
void PrintJsonResult(int result, const std::string& message, const JsonFields& fields);

// One object whose values are text, numbers (an int when negative), truth values and lists of text.
// Nothing when the text is anything else, not UTF-8, or larger than 64 MiB; of names that come
// twice, the last counts.
std::optional<std::map<std::string, JsonValue>> ParseJsonObject(std::string_view text);
