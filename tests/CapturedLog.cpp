#include "CapturedLog.h"

#include <sstream>

#include "TestSupport.h"

namespace {

// Set before main, so that the first message finds it.
struct LogFile {
    LogFile() { SetEnvironmentVariableW(WIDE("FENWICKEL_LOG"), folder.wide("log").c_str()); }
    TempFolder folder;
};

const LogFile g_logFile;

std::string WholeLog() {
    return ReadBytes(g_logFile.folder / "log");
}

}  // namespace

void CapturedLog::Restart() {
    m_start = WholeLog().size();
}

std::vector<std::string> CapturedLog::Lines() const {
    std::istringstream text(WholeLog().substr(m_start));
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) {
        lines.push_back(line);
    }
    return lines;
}

bool CapturedLog::Contains(const std::string& text) const {
    return WholeLog().find(text, m_start) != std::string::npos;
}
