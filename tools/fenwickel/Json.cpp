// The only source that includes the JSON library, which takes long to compile.
#include "Json.h"

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
