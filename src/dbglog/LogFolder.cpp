// Where log files lie: which components are installed, the log folder, default paths.
#include <algorithm>
#include <string_view>

#include "dbglog/LogCfgShared.h"
#include "dbglog/ProductInfo.h"
#include "logshare/SharedText.h"
#include "platform/LogPlace.h"
#include "platform/Text.h"

namespace {

using LOGUTILS::COMPONENT_ENGINE;
using LOGUTILS::COMPONENT_MANAGEMENT;
using LOGUTILS::COMPONENT_NONE;
using LOGUTILS::COMPONENT_WINPE;

constexpr int kSomeComponentInstalled = 4;

bool IsInstalled(int component) {
    WCHAR key[MAX_PATH];
    LOGUTILS::CRegistry registry;
    return LOGUTILS::GetProductRegKey(component, key, MAX_PATH) == ERROR_SUCCESS &&
           registry.Open(key) == ERROR_SUCCESS;
}

int DetectInstallFlags() {
    if (LOGUTILS::IsWinPE()) {
        return COMPONENT_WINPE;
    }
    int flags = 0;
    for (const int component : {COMPONENT_ENGINE, COMPONENT_MANAGEMENT}) {
        flags |= IsInstalled(component) ? component | kSomeComponentInstalled : 0;
    }
    return flags;
}

WString BesideExecutable(const WCHAR* folder) {
    WCHAR executable[kLogPathCapacity] = {};
    GetModuleFileNameW(nullptr, executable, kLogPathCapacity);
    executable[kLogPathCapacity - 1] = 0;
    const WString path = executable;
    return path.substr(0, path.rfind(WIDE('\\'))) + folder;
}

WString FindLogFolder(int installFlags) {
    if (installFlags == COMPONENT_WINPE) {
        return BesideExecutable(WIDE("\\Log\\"));
    }
    WCHAR module[LOGUTILS::kInfoPathCapacity];
    LOGUTILS::GetCurrentModulePath(module);
    WCHAR installPath[LOGUTILS::kInfoPathCapacity];
    if (installFlags == 0 || LOGUTILS::FindComponentOfPath(module, installPath) == COMPONENT_NONE) {
        return BesideExecutable(WIDE("\\Logs\\"));
    }
    const WString folder = installPath;
    return folder + (folder.back() == WIDE('\\') ? WIDE("Logs\\") : WIDE("\\Logs\\"));
}

bool HasLogExtension(const WString& name) {
    const std::size_t point = name.rfind(WIDE('.'));
    return point != WString::npos && EqualNoCase(WString(name, point), WIDE(".Log"));
}

}  // namespace

CLogCfgShared::CLogCfgShared() : m_nInstallFlags(DetectInstallFlags()) {
    GetLogFolder();
}

const WCHAR* CLogCfgShared::GetLogFolder() {
    if (m_szLogFolder[0] == 0) {
        const WString folder = FindLogFolder(m_nInstallFlags);
        const WString own = IsFolderForLogs(folder) ? WString() : OwnLogFolder();
        SetText(m_szLogFolder, own.empty() ? folder : own);
    }
    return m_szLogFolder;
}

void CLogCfgShared::MakeLogFilePath(const WCHAR* name, WCHAR (&buffer)[kFullPathCapacity]) {
    WString file = name;
    if (file.find_first_of(WIDE("\\/")) != WString::npos) {
        SetText(buffer, file);
        return;
    }
    file.resize(std::min(file.size(), kLogPathCapacity - 1));
    if (file.empty()) {
        WCHAR module[kLogPathCapacity] = {};
        LOGUTILS::GetCurrentModuleName(module, kLogPathCapacity);
        file = module;
    }
    if (file.empty()) {
        return;
    }
    SetText(buffer, GetLogFolder() + file + (HasLogExtension(file) ? WIDE("") : WIDE(".Log")));
}
