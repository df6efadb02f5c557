// Runs the program in a folder that holds an empty state folder "s" and a small tree "tree".
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <map>

#include "TestSupport.h"

inline constexpr const char* kState = "--base s/b --syncing s/s --deleted s/d ";

struct ToolResult {
    int exitCode;
    std::string out;
    std::string err;
};

class CliFixture : public testing::Test {
protected:
    CliFixture() {
        std::filesystem::current_path(m_work.path());
        // The tool's own log does not mix with that of the user.
        const WString state = Wide(m_outputs.path().string());
        SetEnvironmentVariableW(WIDE("XDG_STATE_HOME"), state.c_str());
        SetEnvironmentVariableW(WIDE("LOCALAPPDATA"), state.c_str());
        std::filesystem::create_directories("tree/sub/skip");
        std::filesystem::create_directories("tree/skip");
        std::filesystem::create_directory("s");
        for (const char* name : {"tree/a", "tree/b", "tree/sub/skip/c", "tree/skip/x"}) {
            WriteBytes(name, "1");
        }
    }
    ~CliFixture() override { std::filesystem::current_path(m_before); }

    ToolResult Run(const std::string& arguments) const {
        auto tool = std::filesystem::absolute(FENWICKEL_TOOL).make_preferred().string();
        const auto out = m_outputs / "out";
        const auto err = m_outputs / "err";
        // The leading "cd" keeps the other shell from eating the first quote.
        const int status = std::system(("cd . && \"" + tool + "\" " + arguments + " >\"" +
                                        out.string() + "\" 2>\"" + err.string() + "\"")
                                           .c_str());
        // One shell gives the exit code as it is, the other in the second byte.
        return {status > 255 ? status >> 8 : status, ReadBytes(out), ReadBytes(err)};
    }

    // Every file below the working folder with its bytes.
    static std::map<std::string, std::string> Files() {
        std::map<std::string, std::string> files;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(".")) {
            files[entry.path().generic_string()] =
                entry.is_regular_file() ? ReadBytes(entry.path()) : std::string();
        }
        return files;
    }

    std::string ToolLog() const { return (m_outputs / "fenwickel/fenwickel.Log").string(); }

private:
    const std::filesystem::path m_before = std::filesystem::current_path();
    TempFolder m_work;
    TempFolder m_outputs;
};
