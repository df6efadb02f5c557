// Runs the program in a folder that holds an empty state folder "s" and a small tree "tree".
#pragma once

#include <gtest/gtest.h>

#include <iomanip>
#include <map>
#include <sstream>

#include "TestSupport.h"
#include "system/Child.h"

inline constexpr const char* kState = "--base s/b --syncing s/s --deleted s/d ";

struct ToolResult {
    int exitCode;
    std::string out;
    std::string err;
};

// How often the part is in the text.
inline std::size_t Count(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

class CliFixture : public testing::Test {
protected:
    CliFixture() {
        std::filesystem::current_path(m_work.path());
        // Keeps the tool's log apart from that of the user.
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

    ToolResult Run(const std::string& arguments, const char* program = FENWICKEL_TOOL) const {
        const auto out = m_outputs / "out";
        const auto err = m_outputs / "err";
        std::vector<std::string> command = Words(arguments);
        command.insert(command.begin(),
                       std::filesystem::absolute(program).make_preferred().string());
        HostChild tool =
            HostChild::Start(command, {.output = WidePath(out), .errors = WidePath(err)});
        EXPECT_TRUE(tool) << command[0] << " does not start";
        const int exitCode = tool.Wait(kHostForever).value_or(-1);
        return {exitCode, ReadBytes(out), ReadBytes(err)};
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
    // A word that holds blanks or is empty stands in quotes of either kind. Starting the tool by a
    // shell would double the time of each run under Wine.
    static std::vector<std::string> Words(const std::string& line) {
        std::vector<std::string> words;
        std::istringstream rest(line);
        for (std::string word; (rest >> std::ws).peek() != EOF; words.push_back(word)) {
            const char quote = rest.peek() == '\'' ? '\'' : '"';
            EXPECT_TRUE(rest >> std::quoted(word, quote, '\0')) << "no end of a quote: " << line;
        }
        return words;
    }

    const std::filesystem::path m_before = std::filesystem::current_path();
    TempFolder m_work;
    TempFolder m_outputs;
};
