#include "BtrfsSnapshot.h"
#include "Providers.h"
#include "platform/posix/Names.h"
#include "platform/posix/volume/Subvolume.h"
#include "platform/posix/volume/Volume.h"

namespace {

class BtrfsSet final : public SnapshotSet {
public:
    // 0, or the code of the volume that could not be taken.
    int Take(const WString& volumeName) {
        int code = static_cast<int>(ERROR_PATH_NOT_FOUND);
        const std::string root = FolderOfVolume(volumeName);
        auto snapshot = root.empty() ? nullptr : BtrfsSnapshot::Create(root, &code);
        if (snapshot == nullptr) {
            return code;
        }
        m_snapshots.push_back(std::move(snapshot));
        return 0;
    }

    std::vector<WString> Devices() const override {
        std::vector<WString> devices;
        for (const auto& snapshot : m_snapshots) {
            devices.push_back(WideFromPath(snapshot->path() + '/'));
        }
        return devices;
    }

    // The kernel deletes what is in use, too.
    int Delete(bool) override {
        int firstFailure = 0;
        for (const auto& snapshot : m_snapshots) {
            const int code = snapshot->Delete();
            firstFailure = firstFailure != 0 ? firstFailure : code;
        }
        return firstFailure;
    }

private:
    std::vector<std::unique_ptr<BtrfsSnapshot>> m_snapshots;
};

class BtrfsProvider final : public SnapshotProvider {
public:
    const WCHAR* Name() const override { return WIDE("btrfs"); }

    bool Serves(const WString& volumeName) override {
        const std::string root = FolderOfVolume(volumeName);
        return !root.empty() && SubvolumeAt(root).has_value();
    }

    std::unique_ptr<SnapshotSet> Create(const std::vector<WString>& volumeNames,
                                        int* code) override {
        auto set = std::make_unique<BtrfsSet>();
        for (const WString& name : volumeNames) {
            *code = set->Take(name);
            if (*code != 0) {
                return nullptr;  // the set deletes what it has
            }
        }
        return set;
    }
};

}  // namespace

std::unique_ptr<SnapshotProvider> NewBtrfsProvider() {
    return std::make_unique<BtrfsProvider>();
}
