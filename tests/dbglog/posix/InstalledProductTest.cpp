#include <gtest/gtest.h>

#include "LogCfgForTests.h"
#include "RegistryFixture.h"
#include "dbglog/ProductInfo.h"
#include "system/Paths.h"
#include "system/Processes.h"

namespace {

// The answer about the component: code and values, which are "-" and 0 where they are not set.
std::string Answer(const std::string& question, int component) {
    if (question == "path") {
        WCHAR path[LOGUTILS::kInfoPathCapacity] = {'-'};
        const int result = LOGUTILS::GetInstallPath(component, path);
        return std::to_string(result) + " " + Narrow(path);
    }
    int major = 0, minor = 0, update = 0;
    const int result = LOGUTILS::GetProductVersion(component, major, minor, update);
    return std::to_string(result) + " " + std::to_string(major) + "." + std::to_string(minor) +
           "." + std::to_string(update);
}

TEST(InstalledProduct, TellsPathsAndVersions) {
    const std::string product = "[~]\n", engine = "[~\\Engine\\InstallPath]\n";
    const std::string management = "[~\\Management]\n", longest(511, 'p');
    const std::string version = "[~\\Engine\\Version]\n", console = "[~\\Management\\Console]\n";
    const std::string five = Value("UpdateVersionNumber", "5");
    const std::string zero = version + Value("Major", "0") + Value("Minor", "0") + five;
    const std::string sixFive = console + Value("Version", "6.5.1234");
    const struct {
        int component;
        std::string question, registry, answer;
    } cases[] = {
        {1, "path", engine + Value("Path", longest), "0 " + longest},
        {1, "path", engine + Value("Path", longest + "p"), "122 -"},
        {2, "path", management + "\"Path\"=hex:41,00,42\n", "0 AB"},
        {2, "path", management, "2 -"},
        {4, "path", product + Value("RootPath", "C:\\P\\"), "0 C:\\P\\Update Manager"},
        {4, "path", product + Value("RootPath", "C:\\P"), "0 C:\\P\\Update Manager"},
        {4, "path", product + Value("RootPath", ""), "1168 -"},
        {1, "version", version + Value("Major", "99999999999") + Value("Minor", " -2x"),
         "0 2147483647.-2.0"},
        {1, "version", zero, "1168 0.0.5"},
        {2, "version", console + Value("Version", "..7.."), "0 7.0.0"},
        {4, "version", version + Value("Major", "8") + sixFive, "0 8.0.0"},
        {4, "version", zero + sixFive, "0 6.5.5"},
    };
    for (const auto& c : cases) {
        const RegistryFixture registry(c.registry);
        EXPECT_EQ(Answer(c.question, c.component), c.answer) << c.component << c.registry;
    }
}

TEST(InstalledProduct, DecidesComponentFlagsFolderAndLevel) {
    const std::string folder = Narrow(HostParentFolder(HostWidePath(HostOwnProgram())));
    const std::string setup = "[HKEY_LOCAL_MACHINE\\SYSTEM\\Setup]\n";
    // Ends inside the folder's name: no separator has to follow an install path.
    const std::string cut = folder.substr(0, folder.size() - 1);
    const std::string upper = Narrow(UpperCase(Wide(folder))) + "\\";
    const std::string inEngine = "[~\\Engine\\InstallPath]\n" + Value("Path", upper);
    const std::string inManagement = "[~\\Management]\n" + Value("Path", cut);
    // Every row asks for the level of the next letter: answers are kept.
    const std::string one = "\"B\"=dword:1\n\"C\"=dword:1\n\"D\"=dword:1\n\"E\"=dword:1\n";
    const std::string two = "\"D\"=dword:2\n\"E\"=dword:2\n\"F\"=dword:2\n";
    const std::string both = "[~\\Engine\\Debug]\n" + one + "[~\\Management\\Debug]\n" + two;
    // The answers are component, flags, level, folder.
    const std::string cases[][2] = {
        {"", "0 0 -1 " + folder + "\\Logs\\"},
        {setup + Value("CmdLine", "x:\\winpeshl.exe") + both, "8 8 -1 " + folder + "\\Log\\"},
        {setup + Value("CmdLine", "WINPESHL.EXE") + both, "0 7 1 " + folder + "\\Logs\\"},
        {inEngine + inManagement + both, "1 7 1 " + upper + "Logs\\"},
        {inManagement + both, "2 7 2 " + cut + "\\Logs\\"},
        {"[~\\Management\\Debug]\n" + two, "0 6 2 " + folder + "\\Logs\\"},
        {"[~\\Engine\\Debug]\n\"G\"=\"2\"\n", "0 5 50 " + folder + "\\Logs\\"},
        {"[~\\Engine\\Debug]\n\"H\"=hex:1,2,3\n", "0 5 -1 " + folder + "\\Logs\\"},
        {"[~\\Engine\\Debug]\n\"I\"=hex:1,2,3,4,5\n", "0 5 -1 " + folder + "\\Logs\\"},
    };
    std::string name = "A";
    for (const auto& [text, expected] : cases) {
        const RegistryFixture registry(text);
        LogCfgForTests module;
        const int level = module.config.GetRegistryLevel(Wide(name).c_str());
        std::string answer = std::to_string(LOGUTILS::GetModuleComponent()) + " ";
        answer += std::to_string(module.config.InstallFlags()) + " " + std::to_string(level);
        EXPECT_EQ(answer + " " + Narrow(module.config.GetLogFolder()), expected);
        ++name[0];
    }
    EXPECT_EQ(LogCfgForTests().config.GetRegistryLevel(WIDE("E")), 2) << "not from the cache";
}

}  // namespace
