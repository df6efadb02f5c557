#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

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

TEST_F(Host, ReadmeShowsTheExample) {
    const std::string example = Text(FENWICKEL_EXAMPLE_SOURCE);
    ASSERT_FALSE(example.empty());
    EXPECT_NE(Text(FENWICKEL_README).find(example), std::string::npos);
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
