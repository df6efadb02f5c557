// What the registry says about logging. Read once per process, so that a message costs no registry.
#include <algorithm>
#include <cstring>
#include <map>
#include <mutex>
#include <vector>

#include "dbglog/LogCfgShared.h"
#include "dbglog/ProductInfo.h"
#include "dbglog/SplitText.h"
#include "platform/Text.h"

namespace {

using LOGUTILS::COMPONENT_ENGINE;
using LOGUTILS::COMPONENT_MANAGEMENT;
using LOGUTILS::COMPONENT_NONE;
using LOGUTILS::COMPONENT_PRODUCT;

// Levels by name, as read; kLogLevelNone for names that have none.
struct LevelCache {
    std::mutex lock;
    std::map<WString, int> levels;
};

// Never destroyed, as a process may fork while it ends.
LevelCache& Levels() {
    static LevelCache& cache = *new LevelCache;
    return cache;
}

// Executables that never write into the process-wide log file.
struct ExecutableList {
    std::mutex lock;
    bool isRead = false;
    std::vector<WString> names;
};

ExecutableList& ExemptExecutables() {
    static ExecutableList& list = *new ExecutableList;
    return list;
}

// Below the component's root key; kLogLevelNone for a component without one, too.
int ReadLevel(int component, const WCHAR* name) {
    WCHAR root[MAX_PATH];
    if (LOGUTILS::GetProductRegKey(component, root, MAX_PATH) != ERROR_SUCCESS) {
        return kLogLevelNone;
    }
    LOGUTILS::CRegistry key;
    if (key.Open((WString(root) + WIDE("\\Debug")).c_str()) != ERROR_SUCCESS) {
        return kLogLevelNone;
    }
    DWORD level = 0;
    return key.ReadNumber(name, &level) == ERROR_SUCCESS ? static_cast<int>(level) : kLogLevelNone;
}

}  // namespace

void CLogCfgShared::BeforeFork() {
    Levels().lock.lock();
    ExemptExecutables().lock.lock();
}

void CLogCfgShared::AfterFork() {
    ExemptExecutables().lock.unlock();
    Levels().lock.unlock();
}

int CLogCfgShared::EffectiveComponent() const {
    const int component = LOGUTILS::GetModuleComponent();
    if (component != COMPONENT_NONE && component != COMPONENT_PRODUCT) {
        return component;
    }
    for (const int installed : {COMPONENT_ENGINE, COMPONENT_MANAGEMENT}) {
        if ((m_nInstallFlags & installed) != 0) {
            return installed;
        }
    }
    return component;
}

int CLogCfgShared::GetRegistryLevel(const WCHAR* name) {
    LevelCache& cache = Levels();
    const std::lock_guard guard(cache.lock);
    const auto [position, isNew] = cache.levels.try_emplace(name, kLogLevelNone);
    if (isNew) {
        position->second = ReadLevel(EffectiveComponent(), name);
    }
    return position->second;
}

int CLogCfgShared::IsGlobalOptionDisabled(const WCHAR* executable) {
    ExecutableList& exempt = ExemptExecutables();
    const std::lock_guard guard(exempt.lock);
    if (!exempt.isRead) {
        exempt.isRead = true;
        WString names;
        LOGUTILS::ReadRegString(WIDE("SOFTWARE\\Velmora\\Tessaline\\Engine\\Debug"),
                                WIDE("DisableGlobalOption"), names);
        SplitText(names, WIDE(' '), exempt.names);
    }
    return std::any_of(exempt.names.begin(), exempt.names.end(),
                       [&](const WString& name) { return EqualNoCase(name, executable); })
               ? 1
               : 0;
}
