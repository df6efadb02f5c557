// A worker thread that runs out of memory.
#include <cstdlib>
#include <new>
#include <thread>

#include "Detection.h"

namespace {

thread_local long long allocationsLeft = -1;  // before one fails; below 0: none fails
thread_local bool failsForGood = false;
std::atomic<int> failedAllocations = 0;

void* Allocate(std::size_t size) {
    if (allocationsLeft == 0) {
        ++failedAllocations;
        allocationsLeft = failsForGood ? 0 : -1;
        throw std::bad_alloc();
    }
    allocationsLeft -= allocationsLeft > 0 ? 1 : 0;
    if (void* const memory = std::malloc(size == 0 ? 1 : size); memory != nullptr) {
        return memory;
    }
    throw std::bad_alloc();
}

}  // namespace

void* operator new(std::size_t size) {
    return Allocate(size);
}
// Of no interest here: its failures are not exceptions.
void* operator new(std::size_t size, const std::nothrow_t& /*unused*/) noexcept {
    return std::malloc(size == 0 ? 1 : size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t /*unused*/) noexcept {
    std::free(memory);
}

namespace {

constexpr int kStages = 3;  // traverse, check and store ask the control for the first time in turn

// Makes memory short in one stage from its first question on. Every answer needs memory.
class ShortControl final : public JobControl {
public:
    void Arm(int stage, int allocations, bool forGood) {
        failedAllocations = 0;
        firstError = m_stagesSeen = 0;
        m_stage = stage;
        m_allocations = allocations;
        m_forGood = forGood;
    }

    bool IsStopRequested() override { return Answer<char>(JobControl::IsStopRequested()) != 0; }
    int GetErrorCode() override { return Answer(JobControl::GetErrorCode()); }

private:
    template <typename T>
    T Answer(T answer) {
        MeetThread();
        return std::vector<T>(100, answer).back();
    }

    void MeetThread() {
        thread_local bool isKnown = std::this_thread::get_id() == m_host;
        if (!std::exchange(isKnown, true) && ++m_stagesSeen == m_stage) {
            allocationsLeft = m_allocations;
            failsForGood = m_forGood;
        }
    }

    const std::thread::id m_host = std::this_thread::get_id();
    std::atomic<int> m_stagesSeen = 0;
    int m_stage = 0;
    int m_allocations = 0;
    bool m_forGood = false;
};

class ShortMemory : public Detection {
protected:
    void SetUp() override { WriteBytes(folder / "base", base); }

    void PrepareShort() {
        std::vector<stPathPair> pairs(1, {Wide("meta"), folder.wide("tree") + WIDE("\\")});
        stDetectFileChangeContext context = Context();
        context.pJobControl = &isShort;
        detector.SetDetectMetaPath(pairs);
        ASSERT_EQ(detector.InitFileChangeDetector(context), 0);
    }

    // A run with short memory, and after a failure one with enough of it. True when the first one
    // had enough, too.
    bool HasEnough(int stage, int allocations, bool forGood) {
        SCOPED_TRACE(testing::Message() << "stage " << stage << ", after " << allocations
                                        << (forGood ? ", for good" : ", once"));
        isShort.Arm(stage, allocations, forGood);
        const int result = detector.GenerateSyncList();
        const bool hadEnough = failedAllocations == 0;
        EXPECT_EQ(result, hadEnough ? 0 : SYNC_EC_NO_MEMORY);
        EXPECT_EQ(std::filesystem::exists(folder / "deleted"), hadEnough);
        if (!hadEnough) {
            isShort.Arm(0, 0, false);
            EXPECT_EQ(detector.GenerateSyncList(), 0);
        }
        EXPECT_EQ(Statuses("syncing").size(), files);
        EXPECT_EQ(Statuses("deleted"), (Expected{{"0:gone", SYNC_ITEM_DELETED}}));
        EXPECT_EQ(ReadBytes(folder / "base"), base);
        std::filesystem::remove(folder / "deleted");
        return hadEnough;
    }

    ShortControl isShort;
    CSyncDetectFileChange detector;
    std::size_t files = 0;
    const std::string base = FileBytes({{.path = "gone"}});
};

// Whichever allocation of whichever thread fails, the run ends with the code, and the same objects
// serve the next run.
TEST_F(ShortMemory, EndsTheRunWithACode) {
    for (const char* const name :
         {"x", "y", "a folder of some length/x", "a folder of some length/y"}) {
        Write("tree/" + std::string(name));
        ++files;
    }
    PrepareShort();
    for (int stage = 1; stage <= kStages; ++stage) {
        int allocations = 0;
        while (allocations < 1000 && !HasEnough(stage, allocations, false)) {
            ++allocations;
        }
        EXPECT_GE(allocations, 8) << "two questions a file at least, in stage " << stage;
        EXPECT_LT(allocations, 1000);
    }
}

// More files than the pools have items: a stage that lost what it held would stop the others.
TEST_F(ShortMemory, ReturnsEveryItemOfThePools) {
    for (; files < 1100; ++files) {
        Write("tree/" + std::to_string(files), "");
    }
    PrepareShort();
    for (int stage = 1; stage <= kStages; ++stage) {
        EXPECT_FALSE(HasEnough(stage, 1, true));
    }
}

}  // namespace
