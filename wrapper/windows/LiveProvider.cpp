#include "LiveProvider.h"

#include "platform/Platform.h"

namespace {

// The first place where the volume is mounted. A volume that is mounted nowhere can be read through
// its name, "\\?\Volume{...}\".
WString FolderOf(const WString& volume) {
    std::vector<WCHAR> folders(1024);  // more than enough for a first one
    DWORD length = 0;
    const BOOL told = GetVolumePathNamesForVolumeNameW(volume.c_str(), folders.data(),
                                                       static_cast<DWORD>(folders.size()), &length);
    return told && folders[0] != 0 ? WString(folders.data()) : volume;
}

class LiveSet final : public SnapshotSet {
public:
    explicit LiveSet(const std::vector<WString>& volumes) {
        for (const WString& volume : volumes) {
            m_folders.push_back(FolderOf(volume));
        }
    }

    std::vector<WString> Devices() const override { return m_folders; }
    int Delete(bool) override { return 0; }

private:
    std::vector<WString> m_folders;
};

class LiveProvider final : public SnapshotProvider {
public:
    const WCHAR* Name() const override { return WIDE("live"); }

    bool Serves(const WString&) override { return true; }

    std::unique_ptr<SnapshotSet> Create(const std::vector<WString>& volumeNames, int*) override {
        return std::make_unique<LiveSet>(volumeNames);
    }
};

}  // namespace

std::unique_ptr<SnapshotProvider> NewLiveProvider() {
    return std::make_unique<LiveProvider>();
}
