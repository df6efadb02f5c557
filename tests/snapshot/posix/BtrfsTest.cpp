#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <optional>
#include <thread>

#include "BtrfsDisk.h"
#include "fenwickel/MetaVSS.h"
#include "fenwickel/VSSProviderPolicy.h"
#include "platform/FaultPoint.h"
#include "system/Paths.h"
#include "system/Volumes.h"

namespace {

namespace fs = std::filesystem;
using vsswrapper::DeleteLeftoverSnapshot;

// A snapshot of what holds the path.
struct Snapshot {
    explicit Snapshot(const fs::path& path, const fs::path& second = {}) : out(1) {
        out[0].strMetaPath = WidePath(path);
        vss.AddMetaFileVol(out);
        out[0].strMetaPath = WidePath(second.empty() ? path : second);
        vss.AddMetaFileVol(out);
        code = vss.CreateSnapshotForMetaVol();
        vss.GetMetaFileVolSnapshot(out);
    }

    fs::path Inside(std::size_t n = 0) const {
        std::string path = Narrow(out.at(n).strMetaPath);
        path.replace(0, out[n].strVolumePath.size(), Narrow(out[n].strSnapshotDevice));
        std::replace(path.begin(), path.end(), '\\', '/');
        return path;
    }

    CMetaVSS vss;
    std::vector<MetaVolVssInfo> out;
    int code;
};

class Btrfs : public testing::Test {
protected:
    static void SetUpTestSuite() { s_disk.emplace(); }
    static void TearDownTestSuite() { s_disk.reset(); }

    void SetUp() override {
        if (!s_disk->IsReady()) {
            GTEST_SKIP() << kNoBtrfs;
        }
        vsswrapper::SetProviderPolicy(false, &uses);
        fs::create_directory(folder);
    }
    void TearDown() override {
        FaultDisarm();
        if (s_disk->IsReady()) {
            EXPECT_EQ(CountOurs(), 0);
            fs::remove_all(folder);
        }
    }

    static fs::path Disk() { return s_disk->path(); }
    static std::vector<WString> Leftovers() {
        std::vector<WString> found;
        EXPECT_EQ(vsswrapper::ListLeftoverSnapshots(WidePath(Disk()), found), 0);
        return found;
    }
    // Snapshots that lie on the disk beside the test's folder, in use or not.
    static long CountOurs() { return std::distance(fs::directory_iterator(Disk()), {}) - 1; }
    // The snapshot of a process that is killed.
    void LeaveOneBehind() const {
        const pid_t child = fork();
        if (child == 0) {
            FaultArm("DeleteSubvolume", 1, FaultMode::Kill, 0);
            { const Snapshot killed(folder); }
            _exit(0);
        }
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFSIGNALED(status));
    }
    bool BreaksTheRule(int attempts);

    static std::optional<BtrfsDisk> s_disk;
    const fs::path folder = Disk() / "folder";
    std::vector<vsswrapper::VssProviderUse> uses;
};

std::optional<BtrfsDisk> Btrfs::s_disk;

// The rule of a writer: b never holds a higher number than a. True when a read of both, a first,
// while the writer goes on, finds it broken.
bool Btrfs::BreaksTheRule(int attempts) {
    std::atomic<int> count{0};
    std::atomic<bool> stop{false};
    std::thread writer([&] {
        const int files[] = {open((folder / "a").c_str(), O_CREAT | O_WRONLY | O_DSYNC, 0600),
                             open((folder / "b").c_str(), O_CREAT | O_WRONLY | O_DSYNC, 0600)};
        for (; !stop; ++count) {
            const std::string number = std::to_string(100000000 + count);
            for (const int file : files) {
                EXPECT_EQ(pwrite(file, number.data(), 9, 0), 9);
            }
        }
        close(files[0]);
        close(files[1]);
    });
    const auto letRun = [&] {
        for (const int start = count; count < start + 3;) {
            std::this_thread::yield();
        }
    };
    bool broken = false;
    for (letRun(); attempts > 0 && !broken; --attempts) {
        const Snapshot snapshot(folder);
        const std::string a = ReadBytes(snapshot.Inside() / "a");
        letRun();
        const std::string b = ReadBytes(snapshot.Inside() / "b");
        EXPECT_EQ(a.size() + b.size(), 18U) << snapshot.code;
        broken = b > a;
    }
    stop = true;
    writer.join();
    return broken;
}

TEST_F(Btrfs, SnapshotIsAPointInTimeAndTheLiveViewIsNot) {
    EXPECT_FALSE(BreaksTheRule(5));
    EXPECT_EQ(uses.at(4).strProvider, WIDE("btrfs"));
    vsswrapper::SetProviderPolicy(true, &uses);
    FaultArm("CreateSnapshot", 1, FaultMode::FromThenOn, ERROR_IO_DEVICE);
    EXPECT_TRUE(BreaksTheRule(50));
    EXPECT_EQ(uses.at(5).strProvider, WIDE("live"));
    EXPECT_EQ(uses.at(4).nRefusal, 0);
    EXPECT_EQ(uses.at(5).nRefusal, 1117);  // why it is no snapshot
}

TEST_F(Btrfs, NestedSubvolumeIsAVolumeOfItsOwn) {
    const fs::path nested = folder / "nested";
    ASSERT_TRUE(Shell("btrfs subvolume create " + nested.string()));
    WriteBytes(folder / "file", "1");
    WriteBytes(nested / "file", "1");
    FaultArm("CreateSnapshot", 2, FaultMode::Once, ERROR_IO_DEVICE);
    EXPECT_EQ(Snapshot(folder / "file", nested / "file").code, 1117);
    EXPECT_EQ(CountOurs(), 0);  // all volumes or none
    {
        const Snapshot snapshot(folder / "file", nested / "file");
        ASSERT_EQ(snapshot.code, 0);
        WriteBytes(nested / "file", "22");
        EXPECT_EQ(ReadBytes(snapshot.Inside(0)) + ReadBytes(snapshot.Inside(1)), "11");
        EXPECT_EQ(Narrow(snapshot.out[1].strVolumePath), Narrow(WidePath(nested)) + "\\");
        EXPECT_TRUE(fs::is_empty(snapshot.Inside(0).parent_path() / "nested"));
        EXPECT_EQ(uses.size(), 2U);
    }
    EXPECT_EQ(std::distance(fs::directory_iterator(nested), {}), 1);
    ASSERT_TRUE(Shell("btrfs subvolume delete " + nested.string()));
}

TEST_F(Btrfs, DisksThatRefuse) {
    ASSERT_TRUE(Shell("mount -o remount,ro " + Disk().string()));
    EXPECT_EQ(Snapshot(folder).code, 19);
    ASSERT_TRUE(Shell("mount -o remount,rw " + Disk().string()));
    ASSERT_EQ(chown(Disk().c_str(), 65534, 65534),
              0);  // an account that may take one but not delete it
    ASSERT_EQ(seteuid(65534), 0);
    const int unprivileged = Snapshot(folder).code;
    ASSERT_EQ(seteuid(0), 0);
    EXPECT_EQ(unprivileged, 5);
    EXPECT_FALSE(Shell("cat /dev/zero >" + (folder / "filler").string()));  // until it is full
    const Snapshot onFull(folder);
    EXPECT_TRUE(onFull.code == 0 || onFull.code == 112) << onFull.code;
    EXPECT_EQ(CountOurs(), onFull.code == 0 ? 1 : 0);
}

TEST_F(Btrfs, OnlyWhatAKilledRunLeavesIsALeftover) {
    const Snapshot first(folder);
    LeaveOneBehind();
    EXPECT_EQ(CountOurs(), 2);
    { const Snapshot second(folder); }
    ASSERT_EQ(Leftovers().size(), 1U);
    EXPECT_EQ(DeleteLeftoverSnapshot(first.out[0].strSnapshotDevice), 32);
    EXPECT_EQ(DeleteLeftoverSnapshot(WidePath(folder)), 87);
    EXPECT_EQ(DeleteLeftoverSnapshot(Leftovers()[0]), 0);
    EXPECT_EQ(CountOurs(), 1);
    EXPECT_TRUE(fs::is_directory(first.Inside()));
}

// Locks of other accounts on the volume, and what they plant there, stop nothing and hide nothing.
// They cannot tell which snapshots are in use.
TEST_F(Btrfs, AStrangerStopsNeitherSnapshotNorPruning) {
    LeaveOneBehind();
    const Stranger stranger(Disk());
    ASSERT_TRUE(stranger.IsReady());
    {
        const Snapshot snapshot(folder);
        EXPECT_EQ(snapshot.code, 0);
        const std::vector<WString> found = Leftovers();
        ASSERT_EQ(found.size(), 1U);
        ASSERT_EQ(seteuid(54321), 0);
        std::vector<WString> seen;
        EXPECT_EQ(vsswrapper::ListLeftoverSnapshots(WidePath(Disk()), seen), 5);
        EXPECT_EQ(DeleteLeftoverSnapshot(found[0]), 5);
        ASSERT_EQ(seteuid(0), 0);
        EXPECT_EQ(DeleteLeftoverSnapshot(found[0]), 0);
        EXPECT_EQ(DeleteLeftoverSnapshot(snapshot.out[0].strSnapshotDevice), 32);
    }
    ASSERT_EQ(seteuid(54321), 0);
    EXPECT_TRUE(Leftovers().empty());
    ASSERT_EQ(seteuid(0), 0);
}

// Mounts and subvolumes below a folder, whatever lies between; not the snapshots of this program,
// nor what is hidden or gone.
TEST_F(Btrfs, VolumesBelowAFolder) {
    const std::string at = folder.string();
    ASSERT_TRUE(Shell("cd " + at +
                      " && btrfs subvolume create sub && btrfs subvolume create sub/inner"
                      " && btrfs subvolume create .fenwickel-snapshot-not-one"
                      " && mkdir -p plain/deep over/hidden again bound gone 'blank \\name' empty"
                      " && btrfs subvolume create plain/deep/sub"
                      " && btrfs subvolume create over/hidden/sub"
                      " && mount -t tmpfs none 'blank \\name' && mount -t tmpfs none again"
                      " && mount -t tmpfs none again && mount -t tmpfs none over/hidden"
                      " && mount -t tmpfs none over && mount --bind plain bound"
                      " && mount -t tmpfs none gone && umount gone"));
    const auto below = [](const fs::path& path) {
        std::string all;
        for (const WString& volume : HostVolumesBelow(WidePath(path))) {
            const std::string text = HostDisplayText(volume);
            EXPECT_TRUE(text.starts_with(path.string() + "/")) << text;
            all += text.substr(path.string().size()) + "\n";
        }
        return all;
    };
    const Snapshot ours(folder);
    const char* const all =
        "/.fenwickel-snapshot-not-one\n/again\n/blank \\name\n/bound\n/bound/deep/sub\n/over\n"
        "/plain/deep/sub\n/sub\n/sub/inner\n";
    EXPECT_EQ(below(folder), all);
    EXPECT_EQ(below(folder / "sub"), "/inner\n");
    EXPECT_EQ(below(folder / "bound"), "/deep/sub\n");  // its subvolume's root is out of sight
    EXPECT_EQ(below(folder / "empty"), "");
    const Snapshot inner(folder / "sub");  // lies in the folder
    EXPECT_EQ(inner.code, 0);
    EXPECT_EQ(below(folder), all);
    ASSERT_TRUE(Shell("cd " + at +
                      " && umount bound over over/hidden again again 'blank \\name'"
                      " && btrfs subvolume delete over/hidden/sub plain/deep/sub"
                      " .fenwickel-snapshot-not-one sub/inner"));
}

}  // namespace
