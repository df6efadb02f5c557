// The shadow-copy wrapper library as its users see it: a factory, a backup manager, and the record
// that tells where the snapshot of a volume can be read.
//
// The library exchanges standard-library objects with its users, so both must use one runtime.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "fenwickel/Types.h"

namespace vsswrapper {

// One snapshot of a set. Owned by the manager, valid until the snapshot is deleted. The layout is
// fixed, since implementations and users of it are built apart.
struct VssSnapshotProp {
    BYTE reserved[40];                // the implementation's own
    WString strSnapshotDeviceObject;  // root folder of the volume's snapshot, '\\' at its end
    WString strSourceVolumeName;      // the volume, in the form that CreateSnapshot was given
};

static_assert(sizeof(WString) == 32);
static_assert(offsetof(VssSnapshotProp, strSnapshotDeviceObject) == 40);
static_assert(offsetof(VssSnapshotProp, strSourceVolumeName) == 72);

// One backup: initialised, a snapshot of a set of volumes taken, read and deleted, shut down.
//
// The order of the operations fixes their slots. Those called reserved are kept so that the others
// stay where they are; implementations answer 0. Users get one from the factory, return it there
// and never delete it. Operations block until they are done. One thread at a time. Codes are 0 or
// an error code of the system or of the implementation.
class IVSSBackupMgrInterface {
public:
    // Slot 0. The two flags and the last one select a backup with components, of a bootable system
    // state, and of part of files; backupType 5 is a copy backup. context must be null.
    virtual int InitBackup(int selectComponents, int bootableState, int backupType,
                           bool partialFiles, void* context) = 0;
    virtual int Reserved1() = 0;

    // Slot 2. Takes one snapshot of all the volumes, given by their names of the form
    // "\\?\Volume{...}\". May put an identifier of the set into snapshotSet.
    virtual int CreateSnapshot(std::vector<WString> volumes, WString& snapshotSet) = 0;
    virtual int Reserved3() = 0;
    virtual int Reserved4() = 0;
    virtual int Reserved5() = 0;
    virtual int Reserved6() = 0;

    // Slot 7. One record per volume; owned by the manager. Never null after a successful
    // CreateSnapshot.
    virtual std::vector<VssSnapshotProp*>* GetSnapshotProps() = 0;
    virtual int Reserved8() = 0;

    // Slot 9. Deletes the snapshot; force also while it is in use.
    virtual int DeleteSnapshot(bool force) = 0;
    virtual int Reserved10() = 0;
    virtual int Reserved11() = 0;
    virtual int Reserved12() = 0;
    virtual int Reserved13() = 0;
    virtual int Reserved14() = 0;
    virtual int Reserved15() = 0;
    virtual int Reserved16() = 0;
    virtual int Reserved17() = 0;
    virtual int Reserved18() = 0;

    // Slot 19. Shuts the backup down. InitBackup may follow.
    virtual int UninitBackup() = 0;
    virtual int Reserved20() = 0;
    virtual int Reserved21() = 0;
    virtual int Reserved22() = 0;
    virtual int Reserved23() = 0;
    virtual int Reserved24() = 0;
    virtual int Reserved25() = 0;
    virtual int Reserved26() = 0;
    virtual int Reserved27() = 0;
    virtual int Reserved28() = 0;
    virtual int Reserved29() = 0;
    virtual int Reserved30() = 0;
    virtual int Reserved31() = 0;

    // Slot 32. Before InitBackup: an option of the implementation, off by default.
    virtual int SetInitOption(bool option) = 0;

protected:
    // Not virtual: a virtual destructor would take slots.
    ~IVSSBackupMgrInterface() = default;
};

// Makes and releases the managers of the process.
class VSSWRAPPER_API IVSSMgrFactory {
public:
    // The factory, or null when the library cannot serve. Give it back with ReleaseFactory.
    static IVSSMgrFactory* GetFactory();
    static void ReleaseFactory();

    // A manager of this factory; several may be out at once. Give it back with ReleaseBackupMgr,
    // after its UninitBackup and before the factory.
    IVSSBackupMgrInterface* GetVSSBackupMgr();
    void ReleaseBackupMgr();
};

}  // namespace vsswrapper
