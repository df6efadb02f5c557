// log cat on log files of every condition.
#include "Listings.h"
#include "LiveLog.h"
#include "logshare/LogEntries.h"
#include "logshare/LogText.h"

namespace {

const std::string kHeader = "[2026/11/22 09:05:07:042   01   00042   00043             ] ";
const std::string kFailed = "[2026/11/22 23:00:00:000   03   1234567   00001   0X0000001F] ";
const std::string kTail = "   {host.exe::Fenwickel.dll(1.7)}";
const std::string kEnd = "\r\n";
const std::string kSummary =
    "[   Date        Time      Level  PID     TID   ErrCode    ] .......\r\n" + kHeader +
    "=====================================================\r\n";
const std::string kTwo =
    kHeader + "one [1]" + kTail + kEnd + kFailed + "two \xC3\xA4" + kTail + kEnd;

std::string Utf16(const std::string& text) {
    const WString wide = Wide(text);
    return "\xFF\xFE" + std::string(reinterpret_cast<const char*>(wide.data()), 2 * wide.size());
}

std::string JsonOf(const std::string& text) {
    return R"({"time":"2026-11-22T09:05:07.042","level":1,"pid":42,"tid":43,"code":0,)"
           R"("process":"host.exe","module":"Fenwickel.dll","version":"1.7","text":")" +
           text + "\"}\n";
}

// As the system's code page has it.
std::string Ansi(const std::string& bytes) {
    WCHAR text[1024];
    const int size = static_cast<int>(bytes.size());
    return Narrow({text, text + MultiByteToWideChar(CP_ACP, 0, bytes.data(), size, text, 1024)});
}

class LogCatTest : public CliFixture {};

TEST_F(LogCatTest, PrintsWhatIsInTheFile) {
    const std::string plain = kHeader + "one [1]" + kTail + "\n";
    const std::string second = kFailed + "two \xC3\xA4" + kTail + "\n";
    const struct {
        std::string bytes;
        std::string options;
        std::string out;
    } cases[] = {
        {"", "", ""},
        {"\xFF", "--json", "{\"fragment\":\"" + Ansi("\xFF") + "\"}\n"},
        {Utf16(kTwo), "", plain + second},
        {Utf16("cut").substr(0, 7), "", "cu\n"},
        {Utf16(kTwo), "--level 2 --grep one --json", JsonOf("one [1]")},
        {Utf16(kTwo), "--since 2026-11-22T09:06", second},
        {Utf16(kTwo), "--since 2026-11-22T09:05:07", plain + second},
        {"some note\n" + kTwo, "", Ansi("some note\n" + plain + second)},
        {Utf16(kSummary + kHeader + "a" + kTail + kEnd), "--json", JsonOf("a")},
        {kHeader + "a\nb\x1B" + kTail + kEnd, "", kHeader + "a\nb\\x1b" + kTail + "\n"},
        {kHeader + "a\nb" + kTail + kEnd, "--json", JsonOf("a\\nb")},
        {"[2026/11/2" + kHeader + "a" + kTail + kEnd, "--json",
         "{\"fragment\":\"[2026/11/2\"}\n" + JsonOf("a")},
        {Utf16("torn").substr(0, 9) + Utf16("\r\n" + kHeader + "a" + kTail + kEnd).substr(2),
         "--level 1", kHeader + "a" + kTail + "\n"},
    };
    for (const auto& test : cases) {
        WriteBytes("s/log", test.bytes);
        const ToolResult result = Run("log cat s/log " + test.options);
        EXPECT_EQ(result.exitCode, 0) << result.err;
        EXPECT_EQ(result.out, test.out) << test.options;
    }
}

std::size_t MessagesIn(const std::string& bytes, std::size_t piece) {
    LogTextDecoder text;
    LogEntryReader reader;
    WString line;
    std::size_t messages = 0;
    for (std::size_t at = 0; at < bytes.size(); at += piece) {
        text.Feed(std::string_view(bytes).substr(at, piece));
        while (text.NextLine(&line)) {
            reader.AddLine(line);
        }
    }
    for (LogEntry entry; reader.Next(&entry);) {
        messages += !entry.tail.module.empty() && entry.header.processId != 0 ? 1 : 0;
    }
    return messages;
}

// log cat finds what other writers append to a line that a killed writer has cut anywhere.
TEST_F(LogCatTest, EveryWholeLineBehindAFragmentIsFound) {
    for (const std::string& whole : {Utf16(kTwo), kTwo}) {
        const std::string next = whole.substr(whole[0] == '\xFF' ? 2 : 0);
        for (std::size_t cut = 2; cut < whole.size(); ++cut) {
            const std::string torn = whole.substr(0, cut);
            EXPECT_GE(MessagesIn(torn + next, 7), 2U) << cut;
        }
    }
    const std::string endless(1000000, '[');
    EXPECT_EQ(MessagesIn(endless + kEnd + kTwo, 65536), 2U);
    EXPECT_EQ(MessagesIn(Utf16(endless + kEnd + kTwo), 65536), 2U);
}

TEST_F(LogCatTest, FollowsTheLogIntoItsNextFiles) {
    const auto line = [](const std::string& text) { return Utf16(kHeader + text + kTail + kEnd); };
    WriteBytes("s/x.Log", line("first"));
    const RunningTool cat({"cat", "-f", "s/x.Log"});
    ASSERT_TRUE(cat.Says("first"));
    std::ofstream("s/x.Log", std::ios::binary | std::ios::app) << line("more").substr(2);
    ASSERT_TRUE(cat.Says("more"));
    WriteBytes("s/x.00000001.log", line("rolled"));
    ASSERT_TRUE(cat.Says("rolled"));
    WriteBytes("s/x.00000003.log", line("last"));
    EXPECT_TRUE(cat.Says("last"));
}

// What the tool itself logs, and where it says that it did.
TEST_F(LogCatTest, AFailureNamesTheLogOfTheTool) {
    WriteBytes("s/b", FileBytes({}));
    WriteBytes("s/s", FileBytes({}));
    const HANDLE reader =
        CreateFileW(WidePath(std::filesystem::absolute("s/s")).c_str(), GENERIC_READ,
                    FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    EXPECT_FALSE(std::filesystem::exists(ToolLog())) << "no message, no file";
    const ToolResult result = Run(std::string("discard ") + kState);
    CloseHandle(reader);
    EXPECT_EQ(result.exitCode, 6);
    EXPECT_NE(result.err.find("(32): remove the cause and discard again; see \""),
              std::string::npos)
        << result.err;
    const std::size_t at = result.err.rfind("; see \"") + 7;
    const std::string named = result.err.substr(at, result.err.find('"', at) - at);
    EXPECT_TRUE(std::filesystem::equivalent(named, ToolLog())) << named;
    EXPECT_NE(Run("log cat --json \"" + named + '"').out.find("EC:[32]"), std::string::npos);
}

}  // namespace
