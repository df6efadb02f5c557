#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "fenwickel/SyncDetectFileChange.h"

namespace {

namespace fs = std::filesystem;

std::string Text(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

class Host : public testing::Test {
protected:
    Host() {
        // Two test runs may share the temporary folder.
        std::random_device random;
        do {
            folder = fs::temp_directory_path() / ("fenwickel-host-" + std::to_string(random()));
        } while (!fs::create_directory(folder));
        fs::create_directories(folder / "tree");
        fs::create_directories(folder / "state");
    }
    ~Host() override { fs::remove_all(folder); }

    // What the example prints about the tree.
    std::string RunExample() {
        const fs::path out = folder / "out";
        const std::string command = "cd . && \"" +
                                    fs::path(FENWICKEL_EXAMPLE).make_preferred().string() +
                                    "\" \"" + (folder / "tree").string() + "\" \"" +
                                    (folder / "state").string() + "\" >\"" + out.string() + "\"";
        EXPECT_EQ(std::system(command.c_str()), 0) << command;
        return Text(out);
    }

    fs::path folder;
};

TEST_F(Host, ExampleTellsWhatChanged) {
    std::ofstream(folder / "tree/a") << "1";
    std::ofstream(folder / "tree/b") << "1";
    EXPECT_EQ(RunExample().find("new 2, changed 0, unchanged 0, deleted 0"), 0U);
    std::ofstream(folder / "tree/a") << "longer";
    std::ofstream(folder / "tree/c") << "1";
    fs::remove(folder / "tree/b");
    EXPECT_EQ(RunExample().find("new 1, changed 1, unchanged 0, deleted 1"), 0U);
    EXPECT_EQ(RunExample().find("new 0, changed 0, unchanged 2, deleted 0"), 0U);
}

// The C++ listings of a Markdown text, without their fences.
std::vector<std::string> Listings(const std::string& markdown) {
    const std::string fence = "\n```cpp\n";
    std::vector<std::string> listings;
    for (std::size_t at = markdown.find(fence); at != std::string::npos;
         at = markdown.find(fence, at)) {
        at += fence.size();
        listings.push_back(markdown.substr(at, markdown.find("```", at) - at));
    }
    return listings;
}

// The example is compiled and run above, so what README takes from it compiles, too.
TEST_F(Host, ReadmeQuotesTheExample) {
    const std::string example = Text(FENWICKEL_EXAMPLE_SOURCE);
    const std::vector<std::string> listings = Listings(Text(FENWICKEL_README));
    ASSERT_FALSE(listings.empty());
    for (const std::string& listing : listings) {
        ASSERT_FALSE(listing.empty());
        EXPECT_NE(example.find(listing), std::string::npos) << listing;
    }
}

// Copying is part of the exported interface of the two database classes.
TEST_F(Host, CopiesClosedObjects) {
    CSyncDBFile file;
    ASSERT_EQ(file.OpenDBFile((folder / "list").string<WCHAR>()), 0);
    ASSERT_EQ(file.FlushDBFile(), 0);
    ASSERT_EQ(file.CloseDBFile(), 0);
    CSyncDBFile copy(file);
    copy = file;
    EXPECT_EQ(copy.OpenDBFileForRead((folder / "list").string<WCHAR>()), 0);
    CSyncFileDatabase database;
    CSyncFileDatabase databaseCopy(database);
    databaseCopy = database;
    EXPECT_EQ(databaseCopy.CloseAllDBs(), 0);
}

}  // namespace
