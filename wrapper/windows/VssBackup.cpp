#include "VssBackup.h"

#include "VssStep.h"

namespace {

// Only failures count: a call may also answer a success other than S_OK.
int Code(HRESULT result) {
    return FAILED(result) ? static_cast<int>(result) : 0;
}

}  // namespace

VssBackup::~VssBackup() {
    const ComThread com;
    if (m_underWay) {
        m_components->AbortBackup();
    }
    if (m_created) {
        DeleteCopies(true);
    }
    m_components.reset();
}

int VssBackup::Open() {
    const ComThread com;
    if (const int code = Code(m_process.Hold())) {
        return code;
    }
    IVssBackupComponents* components = nullptr;
    if (const int code = Code(m_service.create(&components))) {
        return code;
    }
    m_components.reset(components);
    if (const int code = Code(m_components->InitializeForBackup())) {
        return code;
    }
    if (const int code = Code(m_components->SetContext(VSS_CTX_BACKUP))) {
        return code;
    }
    return Code(m_components->SetBackupState(false, false, VSS_BT_COPY, false));
}

bool VssBackup::Supports(WString volume) {
    const ComThread com;
    BOOL supported = FALSE;
    const HRESULT result = m_components->IsVolumeSupported(VSS_ID{}, volume.data(), &supported);
    return FAILED(result) || supported;
}

int VssBackup::Take(const std::vector<WString>& volumes) {
    const ComThread com;
    m_underWay = true;
    if (const int code = Run(&IVssBackupComponents::GatherWriterMetadata)) {
        return code;
    }
    std::vector<VSS_ID> copies;
    if (const int code = StartSet(volumes, copies)) {
        return code;
    }
    if (const int code = Run(&IVssBackupComponents::PrepareForBackup)) {
        return code;
    }
    if (const int code = Run(&IVssBackupComponents::DoSnapshotSet)) {
        return code;
    }
    m_created = true;
    for (const VSS_ID& copy : copies) {
        if (const int code = AddDevice(copy)) {
            return code;
        }
    }
    return 0;
}

int VssBackup::StartSet(const std::vector<WString>& volumes, std::vector<VSS_ID>& copies) {
    if (const int code = Code(m_components->StartSnapshotSet(&m_set))) {
        return code;
    }
    for (WString volume : volumes) {
        VSS_ID& copy = copies.emplace_back();
        if (const int code = Code(m_components->AddToSnapshotSet(volume.data(), VSS_ID{}, &copy))) {
            return code;
        }
    }
    return 0;
}

int VssBackup::Run(Begin begin) {
    IVssAsync* begun = nullptr;
    if (const int code = Code((*m_components.*begin)(&begun))) {
        return code;
    }
    const ComRef<IVssAsync> step(begun);
    return static_cast<int>(AwaitVssStep(*step, m_service.stepLimit));
}

int VssBackup::AddDevice(const VSS_ID& copy) {
    VSS_SNAPSHOT_PROP properties{};
    if (const int code = Code(m_components->GetSnapshotProperties(copy, &properties))) {
        return code;
    }
    const std::unique_ptr<VSS_SNAPSHOT_PROP, void (*)(VSS_SNAPSHOT_PROP*)> owner(
        &properties, m_service.freeProperties);
    if (properties.m_pwszSnapshotDeviceObject == nullptr) {
        return static_cast<int>(E_UNEXPECTED);
    }
    // The service names a device; with '\' it is the root folder of the volume on it.
    m_devices.push_back(WString(properties.m_pwszSnapshotDeviceObject) + WIDE('\\'));
    return 0;
}

WString VssBackup::Identifier() const {
    WCHAR text[40] = {};
    StringFromGUID2(m_set, text, ARRAYSIZE(text));
    return text;
}

// Tells the writers first that the backup is complete or, when that fails, that it was aborted.
int VssBackup::Delete(bool force) {
    const ComThread com;
    const int completed = Run(&IVssBackupComponents::BackupComplete);
    if (completed != 0) {
        m_components->AbortBackup();
    }
    m_underWay = false;
    const int deleted = DeleteCopies(force);
    m_created = false;
    m_components.reset();
    return completed != 0 ? completed : deleted;
}

// A set that is gone already counts as deleted.
int VssBackup::DeleteCopies(bool force) {
    LONG count = 0;
    VSS_ID kept{};
    const HRESULT result =
        m_components->DeleteSnapshots(m_set, VSS_OBJECT_SNAPSHOT_SET, force, &count, &kept);
    return result == VSS_E_OBJECT_NOT_FOUND ? 0 : Code(result);
}
