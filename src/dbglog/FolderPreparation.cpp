#include "dbglog/FolderPreparation.h"

#include <string_view>

#include "dbglog/LogCfgShared.h"
#include "dbglog/TraceHook.h"
#include "platform/Folder.h"
#include "platform/Text.h"

namespace NSDBG {

namespace {

constexpr const WCHAR* kSeparators = WIDE("\\/");

// A file of that name is no folder: nobody shall get rights to it.
bool MakeFolder(const WString& folder) {
    WIN32_FILE_ATTRIBUTE_DATA data;
    return CreateDirectoryW(folder.c_str(), nullptr) ||
           (GetLastError() == ERROR_ALREADY_EXISTS &&
            GetFileAttributesExW(folder.c_str(), GetFileExInfoStandard, &data) &&
            (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0);
}

// Parents are made only where the folder itself cannot be for the lack of them.
bool MakeFolderWithParents(const WString& folder) {
    if (MakeFolder(folder)) {
        return true;
    }
    if (GetLastError() != ERROR_PATH_NOT_FOUND) {
        return false;
    }
    for (std::size_t end = folder.find_first_of(kSeparators, 1); end != WString::npos;
         end = folder.find_first_of(kSeparators, end + 1)) {
        // A drive or a share refuses to be made; what lies below it decides.
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
