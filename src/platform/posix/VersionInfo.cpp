// Version information: the block that is handed out is the fixed information alone.
#include "platform/FaultPoint.h"
#include "platform/posix/Errors.h"
#include "platform/posix/VersionNote.h"

DWORD GetFileVersionInfoSizeW(const WCHAR* path, DWORD* ignored) {
    VS_FIXEDFILEINFO info;
    if (FaultFails("GetFileVersionInfoSizeW") || !ReadVersionNote(path, &info)) {
        return 0;
    }
    if (ignored != nullptr) {
        *ignored = 0;
    }
    return sizeof info;
}

BOOL GetFileVersionInfoW(const WCHAR* path, DWORD, DWORD byteCount, void* data) {
    if (FaultFails("GetFileVersionInfoW")) {
        return FALSE;
    }
    if (data == nullptr || byteCount < sizeof(VS_FIXEDFILEINFO)) {
        return Fail(ERROR_INSUFFICIENT_BUFFER);
    }
    return ReadVersionNote(path, static_cast<VS_FIXEDFILEINFO*>(data)) ? TRUE : FALSE;
}

BOOL VerQueryValueW(const void* data, const WCHAR* subBlock, void** value, UINT* length) {
    if (FaultFails("VerQueryValueW")) {
        return FALSE;
    }
    const std::basic_string_view<WCHAR> wanted = subBlock != nullptr ? subBlock : WIDE("");
    if (data == nullptr || wanted != WIDE("\\")) {
        return Fail(ERROR_RESOURCE_DATA_NOT_FOUND);
    }
    *value = const_cast<void*>(data);
    *length = sizeof(VS_FIXEDFILEINFO);
    return TRUE;
}
