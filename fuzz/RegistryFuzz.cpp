// A registry file of foreign bytes: every key and value is stored as it will be looked up, and
// values have the form of their type.
#include "FuzzTarget.h"
#include "platform/Text.h"
#include "platform/posix/RegistryFile.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const RegistryKeys keys = ParseRegistry({reinterpret_cast<const char*>(data), size});
    for (const auto& [path, values] : keys) {
        Require(RegistryPath(path) == path, "a path is in the form of its lookup");
        Require(FindRegistryKey(keys, path)->first == path, "a key is found");
        const WString parent = path.substr(0, path.rfind(WCHAR{'\\'}));
        Require(FindRegistryKey(keys, parent) != keys.end(), "the key above exists");
        for (const auto& [name, value] : values) {
            Require(UpperCase(name) == name, "a name is in upper case");
            Require(value.data.size() <= 2 * size + 2, "a value is no larger than its text");
        }
    }
    return 0;
}

std::vector<std::string> FuzzSeeds() {
    const std::string text =
        "Windows Registry Editor Version 5.00\r\n\r\n[HKEY_LOCAL_MACHINE\\A\\b]\r\n; note\r\n"
        "\"N\"=dword:0000000a\r\n@=\"d\\\\\\\"\"\r\n\"x\"=hex(7):41,00,\\\r\n  00,00\r\n\"N\"=-\r\n"
        "[-HKEY_LOCAL_MACHINE\\A]\r\n[HKLM\\c]\r\n\"h\"=hex:1,ff\r\n\"e\"=\"\xc3\xa4\"\n";
    std::string wide = "\xff\xfe";
    for (const char letter : text.substr(0, text.size() - 4)) {
        wide += {letter, '\0'};
    }
    return {text, "\xef\xbb\xbf" + text, wide,
            "REGEDIT4\n\n[HKEY_LOCAL_MACHINE\\A]\n\"a\"=\"b\"\n"};
}
