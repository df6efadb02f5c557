// JSON for programs: one object a line.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <variant>
#include <vector>

// Names and values of an object, in the order of printing. Text is UTF-8; no name needs an escape.
using JsonValue = std::variant<int, std::uint64_t, std::string, bool>;
using JsonFields = std::vector<std::pair<const char*, JsonValue>>;

// Appends the object, which has at least one field, and a line feed.
void AppendJsonLine(std::string& text, const JsonFields& fields);

// Prints {"result": ..., "message": ..., then the fields} on a line of its own.
void PrintJsonResult(int result, const std::string& message, const JsonFields& fields);
