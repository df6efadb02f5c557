// A tree to walk and the files of its synchronisation, in one temporary folder.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "CapturedLog.h"
#include "JobControl.h"
#include "Listings.h"
#include "fenwickel/SyncDetectFileChange.h"

class Detection : public testing::Test {
protected:
    Detection() { std::filesystem::create_directory(folder / "tree"); }

    void Write(const std::string& name, const std::string& content = "content") {
        std::filesystem::create_directories((folder / name).parent_path());
        WriteBytes(folder / name, content);
    }

    stDetectFileChangeContext Context() {
        return {folder.wide("base"), folder.wide("syncing"), folder.wide("deleted"), ignored,
                &control};
    }

    // Walks the named folders with a detector of its own.
    int Run(const std::vector<std::string>& roots = {"tree"}) {
        CSyncDetectFileChange detector;
        return Prepare(detector, roots) ? detector.GenerateSyncList() : -12345;
    }

    bool Prepare(CSyncDetectFileChange& detector, const std::vector<std::string>& roots) {
        std::vector<stPathPair> pairs;
        for (const std::string& root : roots) {
            pairs.push_back({Wide("meta"), folder.wide(root) + WIDE("\\")});
        }
        stDetectFileChangeContext context = Context();
        EXPECT_EQ(detector.SetDetectMetaPath(pairs), 0);
        return detector.InitFileChangeDetector(context) == 0;
    }

    void Commit() {
        std::filesystem::rename(folder / "syncing", folder / "base");
        std::filesystem::remove(folder / "deleted");
    }

    // "index:path" and status of every record in the named list.
    std::map<std::string, int> Statuses(const char* list) {
        std::map<std::string, int> statuses;
        for (const Row& row : RowsOf(ReadBytes(folder / list))) {
            const bool isNew =
                statuses.emplace(std::to_string(row.pathIndex) + ":" + row.path, row.status).second;
            EXPECT_TRUE(isNew) << row.path;
        }
        return statuses;
    }

    const TempFolder folder;
    JobControl control;
    std::map<std::int32_t, std::vector<WString>> ignored;
};

using Expected = std::map<std::string, int>;
