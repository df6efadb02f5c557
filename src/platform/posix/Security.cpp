#include "platform/posix/Security.h"

#include "platform/FaultPoint.h"
#include "platform/posix/Errors.h"

BOOL InitializeSecurityDescriptor(void* descriptor, DWORD revision) {
    if (FaultFails("InitializeSecurityDescriptor")) {
        return FALSE;
    }
    if (descriptor == nullptr || revision != SECURITY_DESCRIPTOR_REVISION) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    *static_cast<SECURITY_DESCRIPTOR*>(descriptor) = SECURITY_DESCRIPTOR{FALSE, nullptr};
    return TRUE;
}

BOOL SetSecurityDescriptorDacl(void* descriptor, BOOL present, ACL* dacl, BOOL) {
    if (FaultFails("SetSecurityDescriptorDacl")) {
        return FALSE;
    }
    if (descriptor == nullptr) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    if (dacl != nullptr) {
        return Fail(ERROR_NOT_SUPPORTED);
    }
    static_cast<SECURITY_DESCRIPTOR*>(descriptor)->daclPresent = present;
    return TRUE;
}

bool IsSecuritySupported(const SECURITY_ATTRIBUTES* security) {
    if (security == nullptr) {
        return true;
    }
    const auto* const descriptor =
        static_cast<const SECURITY_DESCRIPTOR*>(security->lpSecurityDescriptor);
    const bool hasList = descriptor != nullptr && descriptor->daclPresent != FALSE;
    return (security->bInheritHandle == FALSE && (!hasList || descriptor->dacl == nullptr)) ||
           Fail(ERROR_NOT_SUPPORTED) != FALSE;
}
