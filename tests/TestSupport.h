// Temporary folders, text and whole files for tests, the same on both systems.
#pragma once

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

#include "platform/Platform.h"
#include "platform/Text.h"

inline WString Wide(std::string_view text) {
    return WideFromUtf8(text);
}

inline std::string Narrow(const WString& text) {
    return Utf8FromWide(text);
}

// The path in the library's form. For names that are valid Unicode.
inline WString WidePath(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    WString wide = Wide(std::string(text.begin(), text.end()));
    std::replace(wide.begin(), wide.end(), WCHAR{'/'}, WCHAR{'\\'});
    return wide;
}

inline std::string ReadBytes(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

inline void WriteBytes(const std::filesystem::path& path, std::string_view bytes) {
    std::ofstream(path, std::ios::binary).write(bytes.data(), std::streamsize(bytes.size()));
}

// An empty folder of its own, removed with everything in it at the end.
class TempFolder {
public:
    TempFolder() {
        static std::atomic<int> count{0};
        const std::string name = "fenwickel-test-" + std::to_string(GetCurrentProcessId()) + "-" +
                                 std::to_string(++count);
        m_path = std::filesystem::temp_directory_path() / name;
        std::filesystem::remove_all(m_path);
        std::filesystem::create_directory(m_path);
    }
    ~TempFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    const std::filesystem::path& path() const { return m_path; }
    std::filesystem::path operator/(std::string_view name) const { return m_path / name; }

    // The folder, or a name in it, in the library's form.
    WString wide() const { return WidePath(m_path); }
    WString wide(std::string_view name) const { return WidePath(m_path / name); }

private:
    std::filesystem::path m_path;
};
