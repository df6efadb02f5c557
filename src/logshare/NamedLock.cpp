#include "logshare/NamedLock.h"

HANDLE CreateSharedBlock(const WString& globalName, const WString& localName, DWORD byteCount) {
    OpenToAll everyone;
    HANDLE block = CreateFileMappingW(INVALID_HANDLE_VALUE, everyone.get(), PAGE_READWRITE, 0,
                                      byteCount, globalName.c_str());
    if (block == nullptr && GetLastError() == ERROR_ACCESS_DENIED) {
        block = CreateFileMappingW(INVALID_HANDLE_VALUE, everyone.get(), PAGE_READWRITE, 0,
                                   byteCount, localName.c_str());
    }
    return block;
}

HANDLE OpenSharedBlock(const WString& globalName, const WString& localName) {
    const HANDLE block = OpenFileMappingW(FILE_MAP_ALL_ACCESS, FALSE, globalName.c_str());
    return block != nullptr ? block
                            : OpenFileMappingW(FILE_MAP_ALL_ACCESS, FALSE, localName.c_str());
}

HANDLE CreateSharedEvent(const WString& name) {
    OpenToAll everyone;
    return CreateEventW(everyone.get(), FALSE, FALSE, name.c_str());
}
