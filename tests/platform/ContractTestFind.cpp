#include <gtest/gtest.h>

#include "FindAll.h"
#include "TestSupport.h"

namespace {

TEST(ContractFind, ListsEveryEntryOnce) {
    const TempFolder folder;
    std::filesystem::create_directory(folder / "sub.d");
    WriteBytes(folder / "big", "");
    std::filesystem::resize_file(folder / "big", 5000000000);
    for (int i = 0; i < 700; ++i) {  // more than one directory read
        WriteBytes(folder / ("a name of ordinary length, number " + std::to_string(i)), "x");
    }
    DWORD code = 0;
    auto entries = FindAll(folder.wide(), &code);
    EXPECT_EQ(code, ERROR_NO_MORE_FILES);
    EXPECT_EQ(entries.size(), 704U);
    for (const WCHAR* const name : {WIDE("."), WIDE(".."), WIDE("sub.d")}) {
        ASSERT_EQ(entries.count(name), 1U);
        EXPECT_TRUE(entries[name].dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY);
    }
    const WIN32_FIND_DATAW& big = entries[WIDE("big")];
    EXPECT_EQ(LONGLONG{big.nFileSizeHigh} << 32 | big.nFileSizeLow, 5000000000);
    EXPECT_FALSE(big.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY);
    EXPECT_GT(big.ftLastWriteTime.dwHighDateTime, 30000000U);  // after 2008
    EXPECT_GT(big.ftCreationTime.dwHighDateTime, 30000000U);
}

TEST(ContractFind, MissingFolderIsNeverEmpty) {
    const TempFolder folder;
    WriteBytes(folder / "file", "x");
    DWORD code = 0;
    EXPECT_TRUE(FindAll(folder.wide("none"), &code).empty());
    EXPECT_EQ(code, ERROR_PATH_NOT_FOUND);
    EXPECT_TRUE(FindAll(folder.wide("file"), &code).empty());
    // Wine gives its own code here.
    EXPECT_TRUE(code == ERROR_DIRECTORY || code == ERROR_INVALID_NAME) << code;
}

}  // namespace
