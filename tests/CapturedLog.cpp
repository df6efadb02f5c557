#include "CapturedLog.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <optional>

#include "TestSupport.h"
#include "dbglog/DbgLogger.h"
#include "dbglog/LogCfgShared.h"
#include "logshare/LogLineParser.h"
#include "logshare/NamedLock.h"
#include "logshare/SharedText.h"

namespace {

std::filesystem::path g_capturedFile;

// Gives the program its file before the first test and takes it back behind the last. The message
// at its start keeps the summary out of every test's sight.
class OwnLogFile final : public testing::Environment {
public:
    void SetUp() override {
        g_capturedFile = m_folder.emplace() / "log";
        SetProcessLogFile(WidePath(g_capturedFile));
        g_DbgLogger.Log(1, WIDE("[%s] start"), WIDE("tests"));
        ASSERT_GT(ReadBytes(g_capturedFile).size(), 0U);
    }
    void TearDown() override { g_DbgLogger.Detach(); }

private:
    std::optional<TempFolder> m_folder;  // made by tests only: a role may be killed
};

testing::Environment* const g_ownLogFile = testing::AddGlobalTestEnvironment(new OwnLogFile);

}  // namespace

OpenConfig::OpenConfig() {
    CLogCfgShared::Instance().GetModuleLevel(WIDE(""));  // makes the block if it is not there yet
    const DWORD process = GetCurrentProcessId();
    m_mutex = OpenMutexW(MUTEX_ALL_ACCESS, FALSE, LogCfgMutexName(process).c_str());
    m_mapping = OpenSharedBlock(LogCfgBlockName(process), LogCfgLocalBlockName(process));
    m_block = static_cast<LogCfgBlock*>(
        MapViewOfFile(m_mapping, FILE_MAP_ALL_ACCESS, 0, 0, sizeof(LogCfgBlock)));
    if (m_block == nullptr || WaitForSingleObject(m_mutex, kLogCfgWaitMs) != WAIT_OBJECT_0) {
        std::abort();  // a test that could not redirect its log would write beside the program
    }
}

OpenConfig::~OpenConfig() {
    UnmapViewOfFile(m_block);
    CloseHandle(m_mapping);
    ReleaseMutex(m_mutex);
    CloseHandle(m_mutex);
}

WString SetProcessLogFile(const WString& path) {
    const OpenConfig config;
    WString before = TextOf(config->szLogFile);
    SetText(config->szLogFile, path);
    return before;
}

std::string LogText(const std::filesystem::path& path, std::size_t start) {
    const std::string bytes = ReadBytes(path);
    if (!bytes.starts_with("\xFF\xFE")) {
        return bytes.substr(std::min(start, bytes.size()));
    }
    start = std::min(std::max<std::size_t>(start, 2), bytes.size());
    WString units((bytes.size() - start) / sizeof(WCHAR), 0);
    std::memcpy(units.data(), bytes.data() + start, units.size() * sizeof(WCHAR));
    return Narrow(units);
}

std::vector<std::string> MessagesOf(const std::string& text) {
    using View = std::basic_string_view<WCHAR>;
    const WString all = Wide(text);
    View rest(all);
    std::vector<std::string> messages;
    LogLineHeader header;
    LogLineTail tail;
    for (std::size_t start; (start = FindLogHeader(rest)) != View::npos;) {
        rest.remove_prefix(start);
        rest.remove_prefix(ParseLogHeader(rest, &header));
        // A line ends where a header or nothing follows; a message has a tail there.
        std::size_t end = rest.find(WIDE("\r\n"));
        while (end != View::npos && end + 2 < rest.size() &&
               ParseLogHeader(rest.substr(end + 2), &header) == 0) {
            end = rest.find(WIDE("\r\n"), end + 2);
        }
        const std::size_t tailLength = ParseLogTail(rest.substr(0, end), &tail);
        if (end != View::npos && tailLength > 0) {
            messages.push_back(Narrow(WString(rest.substr(0, end - tailLength))));
            rest.remove_prefix(end);  // a header that a killed writer left may stand before another
        }
    }
    return messages;
}

WString CapturedLog::File() {
    return WidePath(g_capturedFile);
}

void CapturedLog::Restart() {
    SetProcessLogFile(File());
    m_start = ReadBytes(g_capturedFile).size();
}

std::vector<std::string> CapturedLog::Lines() const {
    return MessagesOf(LogText(g_capturedFile, m_start));
}

bool CapturedLog::Contains(const std::string& text) const {
    return LogText(g_capturedFile, m_start).find(text) != std::string::npos;
}
