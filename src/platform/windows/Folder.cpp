#include "platform/Folder.h"

#include <aclapi.h>
#include <winioctl.h>

#include <cstdio>
#include <memory>

#include "platform/OwnedHandle.h"
#include "platform/Platform.h"

namespace {

// Read, write, execute and delete, as of a file.
constexpr DWORD kWantedRights = 0x1301BF;

struct LocalFreer {
    void operator()(void* memory) const { LocalFree(memory); }
};
template <typename T>
using LocalMemory = std::unique_ptr<T, LocalFreer>;

// S-1-5-19.
struct LocalServiceSid {
    LocalServiceSid() {
        SID_IDENTIFIER_AUTHORITY authority = SECURITY_NT_AUTHORITY;
        InitializeSid(&sid, &authority, 1);
        *GetSidSubAuthority(&sid, 0) = SECURITY_LOCAL_SERVICE_RID;
    }
    SID sid{};  // has room for one sub-authority
};

// 0, or the code after a line that names the call.
DWORD Report(const char* call, DWORD code) {
    if (code != ERROR_SUCCESS) {
        std::printf("%s Error %u\n", call, static_cast<unsigned>(code));
        std::fflush(stdout);
    }
    return code;
}

// A folder's access list, as long as its descriptor lives.
struct AccessList {
    ACL* entries = nullptr;  // null with success: no list, so every account has every right
    LocalMemory<void> descriptor;
    DWORD code = ERROR_SUCCESS;
};

AccessList ReadAccessList(WCHAR* folder) {
    AccessList list;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    list.code =
        Report("GetNamedSecurityInfo",
               GetNamedSecurityInfoW(folder, SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr,
                                     nullptr, &list.entries, nullptr, &descriptor));
    list.descriptor.reset(descriptor);
    return list;
}

bool AllowsWanted(const ACE_HEADER* header, SID* account) {
    if (header->AceType != ACCESS_ALLOWED_ACE_TYPE || (header->AceFlags & INHERITED_ACE) != 0) {
        return false;
    }
    const auto* const entry = reinterpret_cast<const ACCESS_ALLOWED_ACE*>(header);
    return (entry->Mask & kWantedRights) == kWantedRights &&
           EqualSid(const_cast<DWORD*>(&entry->SidStart), account);
}

// Whether an entry of the folder's own, not one from a folder above, gives every wanted right.
bool HasWantedEntry(ACL* list, SID* account) {
    for (DWORD i = 0; i < list->AceCount; ++i) {
        void* entry = nullptr;
        if (GetAce(list, i, &entry) && AllowsWanted(static_cast<ACE_HEADER*>(entry), account)) {
            return true;
        }
    }
    return false;
}

DWORD AddEntry(WCHAR* folder, ACL* list, SID* account) {
    EXPLICIT_ACCESSW entry{};
    entry.grfAccessPermissions = kWantedRights;
    entry.grfAccessMode = GRANT_ACCESS;
    entry.grfInheritance = SUB_CONTAINERS_AND_OBJECTS_INHERIT;
    entry.Trustee.TrusteeForm = TRUSTEE_IS_SID;
    entry.Trustee.TrusteeType = TRUSTEE_IS_WELL_KNOWN_GROUP;
    entry.Trustee.ptstrName = reinterpret_cast<WCHAR*>(account);
    ACL* added = nullptr;
    const DWORD code = Report("SetEntriesInAcl", SetEntriesInAclW(1, &entry, list, &added));
    const LocalMemory<ACL> owner(added);
    return code != ERROR_SUCCESS
               ? code
               : Report("SetNamedSecurityInfo",
                        SetNamedSecurityInfoW(folder, SE_FILE_OBJECT, DACL_SECURITY_INFORMATION,
                                              nullptr, nullptr, added, nullptr));
}

}  // namespace

bool GrantLocalServiceAccess(const WCHAR* folder) {
    LocalServiceSid service;
    WString path = folder;  // the calls want it writable
    AccessList list = ReadAccessList(path.data());
    if (list.code != ERROR_SUCCESS) {
        // Read again: a list without the existing entries would remove the rights of all other
        // accounts.
        list = ReadAccessList(path.data());
    }
    if (list.code != ERROR_SUCCESS) {
        return false;
    }
    return list.entries == nullptr || HasWantedEntry(list.entries, &service.sid) ||
           AddEntry(path.data(), list.entries, &service.sid) == ERROR_SUCCESS;
}

void CompressFolder(const WCHAR* folder) {
    const DWORD attributes = GetFileAttributesW(folder);
    if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_COMPRESSED) != 0) {
        return;
    }
    const HANDLE handle =
        CreateFileW(folder, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                    nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    const OwnedHandle opened(handle == INVALID_HANDLE_VALUE ? nullptr : handle);
    USHORT format = COMPRESSION_FORMAT_DEFAULT;
    DWORD returned = 0;
    if (opened) {
        DeviceIoControl(opened.get(), FSCTL_SET_COMPRESSION, &format, sizeof format, nullptr, 0,
                        &returned, nullptr);
    }
}
