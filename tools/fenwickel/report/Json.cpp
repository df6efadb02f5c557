// The only source that includes the JSON library, which takes long to compile.
#include "Json.h"

#include <limits>
#include <nlohmann/json.hpp>

#include "Failure.h"
#include "Output.h"

namespace {

// As a JSON string with its quotes. Most text is plain and needs no escape.
void Append(std::string& text, const std::string& value) {
    bool plain = true;
    for (const char sign : value) {
        plain = plain && static_cast<unsigned char>(sign) >= 0x20 && sign != '"' && sign != '\\';
    }
    if (plain) {
        text += '"';
        text += value;
        text += '"';
    } else {
        text +=
            nlohmann::json(value).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    }
}

void Append(std::string& text, bool value) {
    text += value ? "true" : "false";
}

template <typename Number>
void Append(std::string& text, Number value) {
    text += std::to_string(value);
}

void Append(std::string& text, const std::vector<std::string>& values) {
    const char* before = "[";
    for (const std::string& value : values) {
        text += before;
        Append(text, value);
        before = ",";
    }
    text += values.empty() ? "[]" : "]";
}

constexpr std::size_t kMostBytes = std::size_t{64} << 20U;
constexpr int kMostDepth = 2;  // of the elements of a list in the object

using Tree = nlohmann::json;

std::optional<JsonValue> ListOf(const Tree& list) {
    std::vector<std::string> values;
    for (const Tree& element : list) {
        if (!element.is_string()) {
            return {};
        }
        values.push_back(element.get_ref<const std::string&>());
    }
    return values;
}

std::optional<JsonValue> ValueOf(const Tree& value) {
    switch (value.type()) {
        case Tree::value_t::string:
            return value.get_ref<const std::string&>();
        case Tree::value_t::boolean:
            return value.get<bool>();
        case Tree::value_t::number_unsigned:
            return value.get<std::uint64_t>();
        case Tree::value_t::number_integer:
            return value >= std::numeric_limits<int>::min()
                       ? std::optional<JsonValue>(value.get<int>())
                       : std::nullopt;
        case Tree::value_t::array:
            return ListOf(value);
        default:
            return {};
    }
}

}  // namespace

void AppendJsonLine(std::string& text, const JsonFields& fields) {
    char before = '{';
    for (const auto& [name, value] : fields) {
        text += before;
        text += '"';
        text += name;
        text += "\":";
        std::visit([&text](const auto& plain) { Append(text, plain); }, value);
        before = ',';
    }
    text += "}\n";
}

void PrintJsonResult(int result, const std::string& message, const JsonFields& fields) {
    JsonFields all = {{"result", result}, {"message", ValidUtf8(message)}};
    all.insert(all.end(), fields.begin(), fields.end());
    std::string text;
    AppendJsonLine(text, all);
    PrintWhole(text);
}

std::optional<std::map<std::string, JsonValue>> ParseJsonObject(std::string_view text) {
    if (text.size() > kMostBytes) {
        return {};
    }
    // What lies deeper is dropped as it comes, so that it takes no memory; what held it is refused.
    const auto shallow = [](int depth, Tree::parse_event_t, Tree&) { return depth <= kMostDepth; };
    const Tree tree = Tree::parse(text, shallow, false);
    if (!tree.is_object()) {
        return {};
    }
    std::map<std::string, JsonValue> values;
    for (const auto& [name, element] : tree.items()) {
        const std::optional<JsonValue> value = ValueOf(element);
        if (!value) {
            return {};
        }
        values[name] = *value;
    }
    return values;
}
