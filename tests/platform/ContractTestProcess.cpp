#include <gtest/gtest.h>

#include "TestRoles.h"
#include "TestSupport.h"
#include "system/Child.h"
#include "system/Processes.h"
#include "system/Terminal.h"

namespace {

const std::vector<std::string> kWords = {"", "a b", "\"", "\\\\\"", "a b\\", "%PATH%", "\u00e9"};

int CheckWords(const std::vector<std::string>& arguments) {
    std::string line;
    return arguments == kWords && HostReadLine(&line, 60000) == HostInput::End ? 42 : 1;
}

int Linger(const std::vector<std::string>&) {
    return WaitForSingleObject(CreateEventW(nullptr, TRUE, FALSE, nullptr), 60000) != 0;
}

const TestRole checkWords("check-words", CheckWords);
const TestRole linger("linger", Linger);

TEST(ContractProcess, ChildGetsItsWordsAndNoInput) {
    EXPECT_EQ(HostChild::Start(RoleCommand("check-words", kWords)).Wait(60000), 42);
    EXPECT_FALSE(HostChild::Start({HostOwnProgram() + ".none"}));
}

TEST(ContractProcess, RunningProcessesAreFoundUntilTheyEnd) {
    HostChild child = HostChild::Start(RoleCommand("linger"));
    WString name;
    for (const HostProcess& process : HostProcesses()) {
        name = process.id == child.Id() ? process.name : name;
    }
    EXPECT_EQ(Narrow(name), std::filesystem::path(HostOwnProgram()).filename().string());
    EXPECT_TRUE(HostProcessRuns(child.Id()) && !child.Wait(0));
    child.Kill();
    EXPECT_EQ(child.Wait(60000), 137);
    EXPECT_FALSE(HostProcessRuns(child.Id()) || HostProcessRuns(0));
}

TEST(ContractProcess, CaseIsIgnoredUnitByUnit) {
    EXPECT_EQ(Narrow(UpperCase(WIDE("az{\u00e9\u0436\u00df\U0001F600"))),
              "AZ{\u00c9\u0416\u00df\U0001F600");
    EXPECT_TRUE(EqualNoCase(WIDE("\u00e9a"), WIDE("\u00c9A")) &&
                !EqualNoCase(WIDE("@"), WIDE("`")));
}

}  // namespace
