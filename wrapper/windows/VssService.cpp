#include "VssService.h"

#include <sddl.h>

#include <memory>

namespace {

// The service itself gives its writers one minute to hold still; what precedes and follows may take
// several on a busy machine.
constexpr std::chrono::minutes kStepLimit{10};

// Calls are let in from the system, the administrators and the two service accounts: writers run
// under all of them. 3 is the right to call, from this machine.
constexpr const WCHAR* kCallers =
    WIDE("O:BAG:BAD:(A;;0x3;;;SY)(A;;0x3;;;BA)(A;;0x3;;;LS)(A;;0x3;;;NS)");

struct LocalFreer {
    void operator()(void* memory) const { LocalFree(memory); }
};
using LocalMemory = std::unique_ptr<void, LocalFreer>;

// CoInitializeSecurity takes a descriptor made of pointers only. It points into packed.
bool Unpack(PSECURITY_DESCRIPTOR packed, SECURITY_DESCRIPTOR& descriptor) {
    PSID owner = nullptr;
    PSID group = nullptr;
    PACL callers = nullptr;
    BOOL present = FALSE;
    BOOL defaulted = FALSE;
    return InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION) &&
           GetSecurityDescriptorOwner(packed, &owner, &defaulted) &&
           SetSecurityDescriptorOwner(&descriptor, owner, FALSE) &&
           GetSecurityDescriptorGroup(packed, &group, &defaulted) &&
           SetSecurityDescriptorGroup(&descriptor, group, FALSE) &&
           GetSecurityDescriptorDacl(packed, &present, &callers, &defaulted) &&
           SetSecurityDescriptorDacl(&descriptor, present, callers, FALSE);
}

// Writers answer the service by calls into this process, which COM refuses to the service accounts
// unless told otherwise. The rules hold for the process; rules that the host has set before stay.
HRESULT LetWritersCall() {
    PSECURITY_DESCRIPTOR text = nullptr;
    if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(kCallers, SDDL_REVISION_1, &text,
                                                              nullptr)) {
        return HRESULT_FROM_WIN32(GetLastError());
    }
    const LocalMemory packed(text);
    SECURITY_DESCRIPTOR descriptor;
    if (!Unpack(packed.get(), descriptor)) {
        return HRESULT_FROM_WIN32(GetLastError());
    }
    const HRESULT result =
        CoInitializeSecurity(&descriptor, -1, nullptr, nullptr, RPC_C_AUTHN_LEVEL_PKT_PRIVACY,
                             RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_DYNAMIC_CLOAKING, nullptr);
    return result == RPC_E_TOO_LATE ? S_OK : result;
}

HRESULT CreateBackup(IVssBackupComponents** components) {
    const HRESULT result = LetWritersCall();
    return FAILED(result) ? result : CreateVssBackupComponents(components);
}

void FreeProperties(VSS_SNAPSHOT_PROP* properties) {
    VssFreeSnapshotProperties(properties);
}

}  // namespace

VssService SystemVssService() {
    return {&CreateBackup, &FreeProperties, kStepLimit};
}
