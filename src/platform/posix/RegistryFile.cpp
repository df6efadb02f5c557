#include "platform/posix/RegistryFile.h"

#include <cstring>
#include <optional>

#include "platform/Text.h"

namespace {

using WideView = std::basic_string_view<WCHAR>;

constexpr DWORD kText = 1;
constexpr DWORD kBinary = 3;
constexpr DWORD kNumber = 4;
constexpr DWORD kAnyNumber = 0xFFFFFFFF;

WString DecodedText(std::string_view bytes) {
    if (bytes.starts_with("\xFF\xFE")) {
        WString text((bytes.size() - 2) / 2, 0);
        std::memcpy(text.data(), bytes.data() + 2, text.size() * 2);
        return text;
    }
    bytes.remove_prefix(bytes.starts_with("\xEF\xBB\xBF") ? 3 : 0);
    return WideFromUtf8(bytes);
}

bool IsBlank(WCHAR unit) {
    return unit == ' ' || unit == '\t';
}

WideView Trimmed(WideView text) {
    while (!text.empty() && IsBlank(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && IsBlank(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

// Nothing follows but blanks and a comment.
bool IsRest(WideView text) {
    text = Trimmed(text);
    return text.empty() || text.front() == ';';
}

// Takes the line up to the next line feed off the front, without its end and outer blanks.
WideView NextLine(WideView* text) {
    const std::size_t end = std::min(text->find(WCHAR{'\n'}), text->size());
    WideView line = text->substr(0, end);
    text->remove_prefix(std::min(end + 1, text->size()));
    if (line.ends_with(WCHAR{'\r'})) {
        line.remove_suffix(1);
    }
    return Trimmed(line);
}

bool TakePrefix(WideView* text, WideView prefix) {
    if (!EqualNoCase(text->substr(0, prefix.size()), prefix)) {
        return false;
    }
    text->remove_prefix(prefix.size());
    return true;
}

// Takes a text in quotes off the front; a backslash keeps a quote or a backslash from being read as
// such. Nothing when the closing quote is missing.
std::optional<WString> TakeQuoted(WideView* text) {
    WString content;
    for (std::size_t i = 1; i < text->size(); ++i) {
        WCHAR unit = (*text)[i];
        if (unit == '"') {
            text->remove_prefix(i + 1);
            return content;
        }
        const WCHAR next = i + 1 < text->size() ? (*text)[i + 1] : WCHAR{0};
        if (unit == '\\' && (next == '\\' || next == '"')) {
            unit = next;
            ++i;
        }
        content += unit;
    }
    return std::nullopt;
}

// Takes hexadecimal digits off the front, as many as there are; nothing for none of them and for a
// number above the highest.
std::optional<DWORD> TakeHex(WideView* text, DWORD highest) {
    std::uint64_t number = 0;
    std::size_t count = 0;
    for (; count < text->size(); ++count) {
        const WCHAR unit = (*text)[count];
        const WCHAR lower = static_cast<WCHAR>(unit | 0x20);
        const bool letter = lower >= 'a' && lower <= 'f';
        if (!letter && (unit < '0' || unit > '9')) {
            break;
        }
        number = number * 16 + static_cast<unsigned>(letter ? lower - 'a' + 10 : unit - '0');
        if (number > highest) {
            return std::nullopt;
        }
    }
    text->remove_prefix(count);
    return count > 0 ? std::optional(static_cast<DWORD>(number)) : std::nullopt;
}

RegistryValue TextValue(const WString& text) {
    RegistryValue value{kText, std::vector<BYTE>((text.size() + 1) * sizeof(WCHAR))};
    std::memcpy(value.data.data(), text.c_str(), value.data.size());
    return value;
}

std::optional<RegistryValue> NumberValue(WideView text) {
    const std::optional<DWORD> number = TakeHex(&text, kAnyNumber);
    if (!number || !IsRest(text)) {
        return std::nullopt;
    }
    RegistryValue value{kNumber, std::vector<BYTE>(sizeof *number)};
    std::memcpy(value.data.data(), &*number, sizeof *number);
    return value;
}

// Reads one file: the state is the key that the values belong to.
class Parser {
public:
    explicit Parser(WideView text) : m_text(text) {}

    RegistryKeys Parse() {
        while (!m_text.empty()) {
            const WideView line = NextLine(&m_text);
            if (line.starts_with(WCHAR{'['})) {
                BeginKey(line);
            } else if (line.starts_with(WCHAR{'"'}) || line.starts_with(WCHAR{'@'})) {
                ReadValue(line);
            }
        }
        return std::move(m_keys);
    }

private:
    void BeginKey(WideView line) {
        m_current = nullptr;
        const std::size_t end = line.rfind(WCHAR{']'});
        if (end == WideView::npos || !IsRest(line.substr(end + 1))) {
            return;
        }
        WideView path = line.substr(1, end - 1);
        const bool removes = TakePrefix(&path, WIDE("-"));
        const WString key = RegistryPath(path);
        if (removes) {
            RemoveKey(key);
        } else if (!key.empty()) {
            m_current = &m_keys[key];
        }
    }

    // With all keys below it. The key above it stays, also when no line of its own names it.
    void RemoveKey(const WString& path) {
        bool found = false;
        for (auto key = FindRegistryKey(m_keys, path); key != m_keys.end();
             key = FindRegistryKey(m_keys, path)) {
            m_keys.erase(key);
            found = true;
        }
        const std::size_t above = path.rfind(WCHAR{'\\'});
        if (found && above != WString::npos) {
            m_keys[path.substr(0, above)];
        }
    }

    void ReadValue(WideView line) {
        std::optional<WString> name = WString();
        if (line.front() == '@') {
            line.remove_prefix(1);
        } else {
            name = TakeQuoted(&line);
        }
        line = Trimmed(line);
        if (!name || !TakePrefix(&line, WIDE("="))) {
            return;
        }
        line = Trimmed(line);
        const WString key = UpperCase(*name);
        const bool removes = line.starts_with(WCHAR{'-'}) && IsRest(line.substr(1));
        const std::optional<RegistryValue> value = removes ? std::nullopt : ReadData(line);
        if (removes && m_current != nullptr) {
            m_current->erase(key);
        } else if (value && m_current != nullptr) {
            (*m_current)[key] = *value;
        }
    }

    std::optional<RegistryValue> ReadData(WideView text) {
        if (text.starts_with(WCHAR{'"'})) {
            const std::optional<WString> content = TakeQuoted(&text);
            return content && IsRest(text) ? std::optional(TextValue(*content)) : std::nullopt;
        }
        if (TakePrefix(&text, WIDE("dword:"))) {
            return NumberValue(Trimmed(text));
        }
        DWORD type = kBinary;
        if (TakePrefix(&text, WIDE("hex("))) {
            const std::optional<DWORD> given = TakeHex(&text, kAnyNumber);
            if (!given || !TakePrefix(&text, WIDE("):"))) {
                return std::nullopt;
            }
            type = *given;
        } else if (!TakePrefix(&text, WIDE("hex:"))) {
            return std::nullopt;
        }
        return ReadBytes(type, text);
    }

    // Bytes with commas between them; a backslash behind a comma goes on in the next line.
    std::optional<RegistryValue> ReadBytes(DWORD type, WideView text) {
        RegistryValue value{type, {}};
        for (text = Trimmed(text); !IsRest(text); text = Trimmed(text)) {
            if (text == WIDE("\\")) {
                text = NextLine(&m_text);
                continue;
            }
            const std::optional<DWORD> byte = TakeHex(&text, 0xFF);
            text = Trimmed(text);
            if (!byte || (!TakePrefix(&text, WIDE(",")) && !IsRest(text))) {
                return std::nullopt;
            }
            value.data.push_back(static_cast<BYTE>(*byte));
        }
        return value;
    }

    WideView m_text;
    RegistryKeys m_keys;
    RegistryValues* m_current = nullptr;  // null between a damaged or removed key and the next one
};

}  // namespace

RegistryKeys ParseRegistry(std::string_view bytes) {
    const WString text = DecodedText(bytes);
    return Parser(text).Parse();
}

WString RegistryPath(std::basic_string_view<WCHAR> path) {
    WString result;
    for (const WCHAR unit : path) {
        if (unit != '\\' || !result.ends_with(unit)) {
            result += unit;
        }
    }
    if (result.ends_with(WCHAR{'\\'})) {
        result.pop_back();
    }
    return UpperCase(result);
}

RegistryKeys::const_iterator FindRegistryKey(const RegistryKeys& keys, const WString& path) {
    auto key = keys.find(path);
    if (key == keys.end()) {
        const WString below = path + WCHAR{'\\'};
        key = keys.lower_bound(below);
        key = key != keys.end() && key->first.starts_with(below) ? key : keys.end();
    }
    return key;
}
