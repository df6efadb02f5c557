#include "Providers.h"
#include "platform/posix/Names.h"
#include "platform/posix/volume/Volume.h"

namespace {

class LiveSet final : public SnapshotSet {
public:
    explicit LiveSet(std::vector<WString> devices) : m_devices(std::move(devices)) {}

    std::vector<WString> Devices() const override { return m_devices; }
    int Delete(bool) override { return 0; }

private:
    std::vector<WString> m_devices;
};

class LiveProvider final : public SnapshotProvider {
public:
    const WCHAR* Name() const override { return WIDE("live"); }

    bool Serves(const WString& volumeName) override { return !FolderOfVolume(volumeName).empty(); }

    std::unique_ptr<SnapshotSet> Create(const std::vector<WString>& volumeNames,
                                        int* code) override {
        std::vector<WString> devices;
        for (const WString& name : volumeNames) {
            const std::string root = FolderOfVolume(name);
            if (root.empty()) {
                *code = static_cast<int>(ERROR_PATH_NOT_FOUND);
                return nullptr;
            }
            devices.push_back(WideFromPath(root.back() == '/' ? root : root + '/'));
        }
        return std::make_unique<LiveSet>(std::move(devices));
    }
};

}  // namespace

std::unique_ptr<SnapshotProvider> NewLiveProvider() {
    return std::make_unique<LiveProvider>();
}
