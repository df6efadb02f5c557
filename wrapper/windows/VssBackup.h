// One backup of the Volume Shadow Copy Service and its set of shadow copies.
#pragma once

#include <vector>

#include "Com.h"
#include "SnapshotProvider.h"
#include "VssService.h"

// Open, ask Supports of each volume, Take once, Delete. Codes are 0 or the HRESULT as it came.
//
// The copies are of the kind that the service drops when the backup object goes, also when the
// process dies: nothing has to be swept afterwards. The destructor ends a backup that is under way
// and releases everything.
//
// Used by one thread at a time. Another thread may go on with the object, unless the one that
// opened it lives in a single-threaded apartment.
class VssBackup final : public SnapshotSet {
public:
    explicit VssBackup(const VssService& service) : m_service(service) {}
    ~VssBackup() override;

    int Open();

    // False when the service says that it cannot copy the volume. A failed query counts as true:
    // Take then reports what is wrong.
    bool Supports(WString volume);

    // After a failure the object is good for nothing but destruction.
    int Take(const std::vector<WString>& volumes);

    std::vector<WString> Devices() const override { return m_devices; }
    WString Identifier() const override;
    int Delete(bool force) override;

private:
    using Begin = HRESULT (STDMETHODCALLTYPE IVssBackupComponents::*)(IVssAsync**);

    int StartSet(const std::vector<WString>& volumes, std::vector<VSS_ID>& copies);
    int Run(Begin begin);
    int AddDevice(const VSS_ID& copy);
    int DeleteCopies(bool force);

    const VssService m_service;
    ComProcess m_process;  // destroyed after what it keeps alive
    ComRef<IVssBackupComponents> m_components;
    bool m_underWay = false;  // writers wait to hear how the backup ends
    bool m_created = false;   // the set exists
    VSS_ID m_set{};
    std::vector<WString> m_devices;
};
