#include "dbglog/FolderPreparation.h"

#include <string_view>

#include "dbglog/LogCfgShared.h"
#include "dbglog/TraceHook.h"
#include "platform/Folder.h"
#include "platform/Text.h"

namespace NSDBG {

namespace {

constexpr const WCHAR* kSeparators = WIDE("\\/");

// A file of that name does not count: the caller grants rights to what it finds.
bool MakeFolder(const WString& folder) {
    WIN32_FILE_ATTRIBUTE_DATA data;
    return CreateDirectoryW(folder.c_str(), nullptr) ||
           (GetLastError() == ERROR_ALREADY_EXISTS &&
            GetFileAttributesExW(folder.c_str(), GetFileExInfoStandard, &data) &&
            (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0);
}

// Makes parents only when the folder cannot be made because one of them is missing.
bool MakeFolderWithParents(const WString& folder) {
    if (MakeFolder(folder)) {
        return true;
    }
    if (GetLastError() != ERROR_PATH_NOT_FOUND) {
        return false;
    }
    for (std::size_t end = folder.find_first_of(kSeparators, 1); end != WString::npos;
         end = folder.find_first_of(kSeparators, end + 1)) {
        // Only a failure of the folder itself counts: a drive or a share cannot be made.
        MakeFolder(folder.substr(0, end));
    }
    return MakeFolder(folder);
}

bool IsInLogFolder(const WString& folder) {
    const std::basic_string_view<WCHAR> logFolder = CLogCfgShared::Instance().GetLogFolder();
    return EqualNoCase(logFolder.substr(0, folder.size()), folder);
}

}  // namespace

void PrepareLogFolder(const WCHAR* filePath) {
    WString folder = filePath;
    const std::size_t end = folder.find_last_of(kSeparators);
    // "C:" alone would be the current folder of the drive.
    const bool isDriveRoot = end == 2 && folder[1] == ':';
    if (end == WString::npos || isDriveRoot) {
        return;
    }
    folder.resize(end);
    if (!MakeFolderWithParents(folder)) {
        return;
    }
    if (!GrantLocalServiceAccess(folder.c_str())) {
        TraceHook(WIDE("[%d:%d] Failed to add local service access right for folder %s\r\n"),
                  GetCurrentProcessId(), GetCurrentThreadId(), folder.c_str());
    }
    if (IsInLogFolder(folder)) {
        CompressFolder(folder.c_str());
    }
}

}  // namespace NSDBG
