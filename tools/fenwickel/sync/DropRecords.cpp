#include "DropRecords.h"

#include <cstring>
#include <vector>

#include "fenwickel/SyncDBFile.h"
#include "listing/RecordReader.h"
#include "report/ExitCodes.h"
#include "report/Failure.h"
#include "report/WholeFile.h"

namespace {

DWORD High(std::uint64_t value) {
    return static_cast<DWORD>(value >> 32U);
}

DWORD Low(std::uint64_t value) {
    return static_cast<DWORD>(value);
}

// The bytes of the record, with the units of its path aligned as records in a buffer need not be.
class RecordBytes {
public:
    stSynFileDescOnUpload* Fill(const RecordView& view) {
        const std::size_t pathBytes = view.path.size() * sizeof(WCHAR);
        m_bytes.assign(SYNC_RECORD_FIXED_SIZE + pathBytes + sizeof(WCHAR), 0);
        auto* const record = reinterpret_cast<stSynFileDescOnUpload*>(m_bytes.data());
        record->nRecordSize = static_cast<std::uint32_t>(m_bytes.size());
        record->byPathIndex = view.pathIndex;
        record->bySyncStatus = view.status;
        record->dwWriteTimeHigh = High(view.writeTime);
        record->dwWriteTimeLow = Low(view.writeTime);
        record->dwSizeHigh = High(view.size);
        record->dwSizeLow = Low(view.size);
        record->ftCreateTime = {Low(view.createTime), High(view.createTime)};
        record->ftAccessTime = {Low(view.accessTime), High(view.accessTime)};
        std::memcpy(m_bytes.data() + SYNC_RECORD_FIXED_SIZE, view.path.data(), pathBytes);
        return record;
    }

private:
    std::vector<unsigned char> m_bytes;
};

void Require(int code, const WString& path) {
    if (code != 0) {
        throw FileFailure("write", path, static_cast<std::uint32_t>(code));
    }
}

void CopyOthers(const StateFolder& state, const PathKeys& dropped, const WString& target) {
    RecordReader reader(state.files.syncing);
    CSyncDBFile file;
    Require(file.OpenDBFile(target), target);
    RecordBytes bytes;
    for (RecordView record; reader.Next(record);) {
        if (!dropped.contains(PathKeyView{record.pathIndex, record.path})) {
            Require(file.AppendRecord(bytes.Fill(record)), target);
        }
    }
    if (const auto& damage = reader.Damage()) {
        throw Failure(ExitCode::Failed, "the new listing " + Quoted(state.files.syncing) + " is " +
                                            damage->Text() + ": run again");
    }
    Require(file.FlushDBFile(), target);
    Require(file.CloseDBFile(), target);
}

}  // namespace

void DropRecords(const StateFolder& state, const PathKeys& dropped) {
    if (dropped.empty()) {
        return;
    }
    const Replacement next(state.files.syncing);
    RemoveFile(next.Path());  // an earlier run may have left one, whose end would stay
    CopyOthers(state, dropped, next.Path());
    next.PutInPlace();
}
