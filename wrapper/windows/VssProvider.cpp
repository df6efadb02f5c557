#include "VssProvider.h"

#include <utility>

#include "VssBackup.h"

namespace {

// A backup is opened when the first volume is asked about and becomes the set of the next Create.
class VssProvider final : public SnapshotProvider {
public:
    explicit VssProvider(const VssService& service) : m_service(service) {}

    const WCHAR* Name() const override { return WIDE("vss"); }

    bool Serves(const WString& volumeName) override {
        OpenOnce();
        return m_opened != 0 || m_backup->Supports(volumeName);
    }

    std::unique_ptr<SnapshotSet> Create(const std::vector<WString>& volumeNames,
                                        int* code) override {
        OpenOnce();
        std::unique_ptr<VssBackup> backup = std::move(m_backup);
        *code = m_opened != 0 ? m_opened : backup->Take(volumeNames);
        if (*code != 0) {
            return nullptr;
        }
        return backup;
    }

private:
    void OpenOnce() {
        if (m_backup == nullptr) {
            m_backup = std::make_unique<VssBackup>(m_service);
            m_opened = m_backup->Open();
        }
    }

    const VssService m_service;
    std::unique_ptr<VssBackup> m_backup;
    int m_opened = 0;  // code of opening m_backup
};

}  // namespace

std::unique_ptr<SnapshotProvider> NewVssProvider(const VssService& service) {
    return std::make_unique<VssProvider>(service);
}
