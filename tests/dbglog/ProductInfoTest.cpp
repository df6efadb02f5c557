#include "dbglog/ProductInfo.h"

#include <gtest/gtest.h>

#include "TestSupport.h"
#include "system/Paths.h"
#include "system/Processes.h"

namespace {

TEST(ProductInfo, TellsThisModuleAndTheMachine) {
    const WString path = HostWidePath(HostOwnProgram());
    const WString file = path.substr(path.rfind('\\') + 1);
    WCHAR name[LOGUTILS::kInfoPathCapacity] = {'?'};
    LOGUTILS::GetCurrentModuleName(name, file.size());
    EXPECT_EQ(Narrow(name), "?") << "does not fit";
    LOGUTILS::GetCurrentModuleName(name, file.size() + 1);
    EXPECT_EQ(name, file);
    EXPECT_EQ(LOGUTILS::GetProductRegKey(4, name, 26), 122);
    EXPECT_EQ(LOGUTILS::CSysInfo().ProcessorArchitecture(), PROCESSOR_ARCHITECTURE_AMD64);
    EXPECT_GT(LOGUTILS::CWinVer().Major(), 0);
}

}  // namespace
