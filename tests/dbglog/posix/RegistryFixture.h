// A registry of its own for a test.
#pragma once

#include <iomanip>
#include <regex>
#include <sstream>

#include "TestSupport.h"

struct RegistryFixture {
    // "~" in the text stands for the product's root key.
    explicit RegistryFixture(std::string text) {
        const std::string root = "HKEY_LOCAL_MACHINE\\SOFTWARE\\Velmora\\Tessaline";
        text = "REGEDIT4\n" + std::regex_replace(text, std::regex("~"), root);
        WriteBytes(folder / "reg", text);
        const WString path = Wide((folder / "reg").string());
        SetEnvironmentVariableW(WIDE("FENWICKEL_REGISTRY"), path.c_str());
    }
    ~RegistryFixture() { SetEnvironmentVariableW(WIDE("FENWICKEL_REGISTRY"), nullptr); }
    TempFolder folder;
};

// A string value as it stands in the file.
inline std::string Value(const std::string& name, const std::string& text) {
    return (std::ostringstream() << std::quoted(name) << '=' << std::quoted(text) << '\n').str();
}
