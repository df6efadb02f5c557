#include <gtest/gtest.h>

#include "TestSupport.h"
#include "platform/posix/RegistryFile.h"

namespace {

// "KEY{NAME=type,byte,byte,...}..."
std::string Shown(const RegistryKeys& keys) {
    std::string text;
    for (const auto& [path, values] : keys) {
        text += Narrow(path) + "{";
        for (const auto& [name, value] : values) {
            text += Narrow(name) + "=" + std::to_string(value.type);
            for (const BYTE byte : value.data) {
                text += "," + std::to_string(byte);
            }
        }
        text += "}";
    }
    return text;
}

const std::string kWhole =
    "Windows Registry Editor Version 5.00\r\n\r\n; note\r\n[HKEY_LOCAL_MACHINE\\A\\b]\r\n"
    "\"Te\\\\x\\\"t\"=\"\u00e9\\\\\"\r\n@=\"d\"\r\n\"n\"=dword:0000002a ; note\r\n"
    "\"h\"=hex(2):61,00,\\\r\n  62,00,00,00\r\n\"gone\"=\"x\"\r\n\"Gone\"=-\r\n";
const std::string kShown =
    "HKEY_LOCAL_MACHINE\\A\\B{=1,100,0,0,0H=2,97,0,98,0,0,0N=4,42,0,0,0TE\\X\"T=1,233,0,92,0,0,0}";

TEST(RegistryFile, WhatIsUnderstoodCountsAndTheRestIsLeftOut) {
    const WString wide = Wide(kWhole);
    const std::string units(reinterpret_cast<const char*>(wide.data()), wide.size() * 2);
    const std::pair<std::string, std::string> table[] = {
        {"\xEF\xBB\xBF" + kWhole, kShown},
        {"\xFF\xFE" + units, kShown},
        {"REGEDIT4\n[K\\a\\\\B\\] ; note\n \"v\" = hex:\n", "K\\A\\B{V=3}"},
        {"[K]\n\"a\"=1\n\"b=\"\n\"c\"=hex:1,g\n\"d\"=dword:100000000\n\"e\"=hex(x):1\n"
         "\"f\"=\"x\"y\ng=\"x\"\n\"h\"\n\"i\"=hex:100\n\"j\"=dword:\n\"ok\"=hex:0A\n",
         "K{OK=3,10}"},
        {"\"a\"=\"x\"\n[K]\n[L\n\"a\"=\"x\"\n[M]x\n\"b\"=\"x\"\n", "K{}"},
        {"[K\\A]\n[K\\A\\B]\n[K\\AB]\n[-k\\a]\n\"v\"=dword:1\n", "K{}K\\AB{}"},
    };
    for (const auto& [bytes, expected] : table) {
        EXPECT_EQ(Shown(ParseRegistry(bytes)), expected) << bytes.substr(0, 60);
    }
    for (std::size_t length = 0; length < kWhole.size(); ++length) {
        EXPECT_LE(ParseRegistry(kWhole.substr(0, length)).size(), 1U) << length;
    }
}

// The code of a value with size bytes of room; negative when the key cannot be opened.
LSTATUS Code(const WCHAR* key, const WCHAR* name, DWORD size) {
    HKEY handle = nullptr;
    const LSTATUS opened = RegOpenKeyExW(HKEY_LOCAL_MACHINE, key, 0, KEY_READ, &handle);
    BYTE data[64];
    return opened != 0 ? -opened
                       : RegQueryValueExW(handle, name, nullptr, nullptr, data, &size) +
                             RegCloseKey(handle);
}

TEST(RegistryFile, KeysAndValuesAreReadAsOfNow) {
    const TempFolder folder;
    setenv("FENWICKEL_REGISTRY", (folder / "f").c_str(), 1);
    WriteBytes(folder / "f", kWhole);
    EXPECT_EQ(Code(WIDE("a\\B"), WIDE("N"), 64), 0);
    EXPECT_EQ(Code(WIDE("a\\B\\"), WIDE("n"), 3), 234);
    EXPECT_EQ(Code(WIDE("\\a"), WIDE("n"), 64), -161);
    unsetenv("FENWICKEL_REGISTRY");
}

}  // namespace
