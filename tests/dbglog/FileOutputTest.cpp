#include <regex>

#include "LogFileFixture.h"
#include "logshare/SharedText.h"

namespace {

using Texts = std::vector<std::string>;

constexpr const char* kMark = "\xFF\xFE";

std::string Wider(const std::string& ascii) {
    std::string bytes;
    for (const char c : ascii) {
        bytes += {c, '\0'};
    }
    return bytes;
}

TEST_F(LogFileTest, ANewFileHasMarkSummaryAndLines) {
    output->WriteLogW(1, 0, WIDE("caf\u00e9"));
    output->WriteLogA(2, 0x1F, "narrow");
    output->WriteLogW(3, 0, WIDE("above the default level"));
    EXPECT_TRUE(ReadBytes(folder / "a.log").starts_with(kMark));
    const std::string stamp = R"(\[\d{4}/\d\d/\d\d \d\d:\d\d:\d\d:\d{3}   )";
    const std::string changing[][2] = {
        {stamp + R"((\d\d)   \d{5,}   \d{5,}   (.{10})\] )", "$1 $2|"},
        {R"(   \{dbglog_tests(\.exe)?::dbglog_tests(\.exe)?\(\d+\.\d+\)\})", "|"},
        {R"(r\d+\.\d+( \(Update \d+\))?\])", "r]"},
        {R"(\[.+\] Version\[\d+\.\d+\] Platform\[(X64|Unknown)\])", "[]"},
    };
    std::string text = LogText(folder / "a.log");
    for (const auto& [pattern, constant] : changing) {
        text = std::regex_replace(text, std::regex(pattern), constant);
    }
    EXPECT_EQ(text,
              "[   Date        Time      Level  PID     TID   ErrCode    ] .......\r\n"
              "02           |================ SUMMARY LOG =======================\r\n"
              "02           |Product Info: [Velmora Labs] [velmora Tessaline] Ver[r]\r\n"
              "02           |OS      Info: Computer Name[]\r\n"
              "02           |Log level of each module can be controlled by registry key:\r\n"
              "02           |[HKEY_LOCAL_MACHINE\\SOFTWARE\\Velmora\\Tessaline\\Engine\\Debug"
              "\\ModuleName:DWORD]\r\n"
              "02           |=====================================================\r\n"
              "01           |caf\xC3\xA9|\r\n"
              "02 0X0000001F|narrow|\r\n");
}

TEST_F(LogFileTest, KeepsTheEncodingOfAFile) {
    const struct {
        std::string before, start;  // what the file then starts with
        bool unicode, summary;
    } cases[] = {
        {"", kMark, true, true},
        {"x", kMark, true, true},
        {"xy", kMark, true, true},
        {kMark, kMark, true, true},
        {kMark + Wider("old\r\n"), kMark + Wider("old\r\n["), true, false},
        {"old\r\n", "old\r\n[", false, false},
    };
    for (const auto& c : cases) {
        WriteBytes(folder / "a.log", c.before);
        Reopen();
        output->WriteLogA(1, 0, "narrow");
        output->WriteLogW(1, 0, WIDE("wide"));
        const std::string bytes = ReadBytes(folder / "a.log");
        EXPECT_TRUE(bytes.starts_with(c.start)) << bytes.substr(0, 20);
        EXPECT_EQ(bytes.find(Wider("SUMMARY")) != std::string::npos, c.summary);
        for (const char* text : {"] narrow   {", "] wide   {"}) {
            EXPECT_NE(bytes.find(c.unicode ? Wider(text) : text), std::string::npos);
        }
    }
    // Having met an ANSI file, the output makes ANSI files.
    SetProcessLogFile(folder.wide("b.log"));
    Write("later");
    EXPECT_TRUE(ReadBytes(folder / "b.log").starts_with("[   Date"));
    EXPECT_EQ(Messages("b.log"), Texts{"later"});
    Write(std::string(1023, 'x').c_str());
    output->WriteLogA(1, 0, std::string(1025, 'x').c_str());
    EXPECT_EQ(Messages("b.log")[1].size(), 1023U);
    EXPECT_EQ(Messages("b.log")[2].size(), 1025U);
}

TEST_F(LogFileTest, RollsToTheFirstNumberWithRoom) {
    NSDBG::g_logRollSize = 64;
    const struct {
        const char* first;
        std::vector<std::pair<const char*, std::size_t>> sizes;
        const char* written;
    } cases[] = {
        {"a.log", {{"a.log", 62}}, "a.log"},
        {"a.log", {{"a.log", 64}}, "a.00000001.log"},
        {"a.00000001.log", {{"a.00000001.log", 65}}, "a.00000002.log"},
        {"b.log",
         {{"b.log", 64}, {"b.00000001.log", 64}, {"b.00000002.log", 99}},
         "b.00000003.log"},
        {"c.abcdefgh.log", {{"c.abcdefgh.log", 64}}, "c.abcdefgh.00000001.log"},
    };
    for (const auto& c : cases) {
        for (const auto& [name, size] : c.sizes) {
            WriteBytes(folder / name, kMark + std::string(size - 2, ' '));
        }
        SetProcessLogFile(folder.wide(c.first));
        Reopen();
        Write("text");
        EXPECT_NE(LogText(folder / c.written).find("] text   {"), std::string::npos) << c.written;
        EXPECT_EQ(SetProcessLogFile(WString()), folder.wide(c.written));
    }
    // The file grows over the limit between two messages of one output.
    SetProcessLogFile(folder.wide("d.log"));
    Write("first");
    Write("second");
    EXPECT_EQ(Messages("d.log"), Texts{"first"});
    EXPECT_EQ(Messages("d.00000001.log"), Texts{"second"});
}

TEST_F(LogFileTest, FollowsTheConfiguration) {
    Write("one");
    SetProcessLogFile(folder.wide("new\\sub\\b.log"));
    Write("two");
    {
        const OpenConfig config;
        config->nLevel = 0;
    }
    EXPECT_EQ(output->GetLogLevel(), 0);
    Write("not wanted");
    {
        const OpenConfig config;
        config->nLevel = 4;
        config->dwMagic = 0;  // no answer: file and level stay
        SetText(config->szLogFile, folder.wide("c.log"));
    }
    output->WriteLogW(0, 0, WIDE("three"));
    {
        const OpenConfig config;
        config->dwMagic = kLogCfgMagic;
    }
    output->WriteLogW(4, 0, WIDE("four"));
    EXPECT_EQ(Messages("a.log"), Texts{"one"});
    EXPECT_EQ(Messages("new/sub/b.log"), (Texts{"two", "three"}));
    EXPECT_EQ(Messages("c.log"), Texts{"four"});
}

// As a tool does that sets a module's file to the default: only the module knows which one that is.
TEST_F(LogFileTest, LosesNoMessageOnItsWayToTheDefaultFile) {
    Write("before");
    WString file;
    {
        const OpenConfig config;
        SetText(config->szLogFile, WIDE(""));
        SetText(config->entries[0].szLogFile, WIDE(""));
    }
    Write("after");
    file = TextOf(OpenConfig()->entries[0].szLogFile);
    EXPECT_EQ(Messages("a.log"), Texts{"before"});
    const std::filesystem::path path = Utf8FromWide(file);
    std::string native = path.string();
    std::replace(native.begin(), native.end(), '\\', '/');
    EXPECT_NE(LogText(native).find("] after   {"), std::string::npos) << native;
    SetProcessLogFile(folder.wide("a.log"));
    Write("back");
    std::filesystem::remove(native);
}

TEST_F(LogFileTest, SurvivesPathsThatCannotBeWritten) {
    std::filesystem::create_directory(folder / "folder");
    WriteBytes(folder / "file", "");
    std::string full = Narrow(folder.wide("x"));
    while (full.size() < 511) {
        full += (full.size() % 100 == 0 ? '\\' : 'x');
    }
    const std::string paths[] = {Narrow(folder.wide("folder")),
                                 Narrow(folder.wide("file\\a.log")),
                                 "Q:\\a.log",
                                 "\\proc\\a.log",
                                 Narrow(folder.wide("?*|<>")),
                                 full,
                                 full + "cut"};
    for (const std::string& path : paths) {
        SetProcessLogFile(Wide(path));
        Write("lost");
        Write("lost");
        SetProcessLogFile(folder.wide("a.log"));
        Write(path.c_str());
        EXPECT_EQ(Messages("a.log").back(), path);
    }
    EXPECT_EQ(Messages("a.log").size(), std::size(paths));
}

}  // namespace
