// Wrong usage and bad input: exit code, message, and nothing touched.
#include "CliFixture.h"

namespace {

struct Case {
    std::string arguments;
    int exitCode;
    const char* words;  // part of the message
};

std::vector<Case> Cases() {
    const std::string detect = std::string("detect ") + kState;
    std::string many;
    for (int i = 0; i < 257; ++i) {
        many += " tree";
    }
    return {
        {"", 2, "no command"},
        {"frobnicate", 2, "unknown command"},
        {detect, 2, "PAIR"},
        {detect + "--nope tree", 2, "--nope"},
        {"detect --base s/b --syncing s/s tree", 2, "--deleted"},
        {"detect --base s/b --syncing s/b --deleted s/d tree", 2, "--base and --syncing"},
        {"detect --base s/b --syncing s/s --deleted s/../s/s tree", 2, "--syncing and --deleted"},
        {"detect --base s/b --syncing s/b.lock --deleted s/d tree", 2, "lock file"},
        {"detect --base tree/sub/b --syncing s/s --deleted s/d tree", 2, "lies inside"},
        {"detect --base s/b --syncing tree/s --deleted s/d m=tree", 2, "lies inside"},
        {"detect --base s --syncing s/s --deleted s/d tree", 2, "is a folder"},
        {"detect --base \"\" --syncing s/s --deleted s/d tree", 2, "--base"},
        {"detect --base no/b --syncing s/s --deleted s/d tree", 1, "create it"},
        {detect + "--ignore 1:skip tree", 2, "INDEX"},
        {detect + "--ignore -1:skip tree", 2, "INDEX"},
        {detect + "--ignore 4294967296:skip tree", 2, "INDEX"},
        {detect + "--ignore skip tree", 2, "INDEX:NAME"},
        {detect + "--ignore 0: tree", 2, "NAME"},
        {detect + "--ignore 0:.. tree", 2, "NAME"},
        {detect + "--ignore 0:sub/skip tree", 2, "NAME"},
        {detect + many, 2, "256"},
        {detect + "a=b=c", 2, "no part after '='"},
        {detect + "x=tree=", 2, "'='"},
        {detect + "=tree", 2, "META=SNAPSHOT"},
        {detect + "nowhere", 1, "does not exist"},
        {detect + "tree m=nowhere", 1, "does not exist"},
        {detect + "tree/a", 1, "not a folder"},
        {detect + "[tree,tree]", 1, "[tree,tree]"},
        {"dump s/none", 1, "cannot read"},
        {"dump \"\"", 2, "FILE is empty"},
        {"dump tree", 1, "cannot read"},
        {"dump --status new,old s/none", 2, "old"},
        {"log", 2, "no command given: see fenwickel log --help"},
        {"log show 4294967295", 1, "no process 4294967295 runs"},
        {"log level 1 loud", 2, "number"},
        {"log file 1 \"\"", 2, "empty"},
        {"log file 1 tree", 2, "is a folder"},
        {"log file 1 " + std::string(512, 'p'), 2, "511 at most"},
        {"log level 1 --module \"\" 3", 2, "--module is empty"},
        {"log break --exe x --text \"\"", 2, "--text is empty"},
        {"log cat s", 1, "cannot read"},
        {"log cat --level \"\" tree/a", 2, "--level is empty"},
        {"log cat --since 24:00 tree/a", 2, "is no time"},
        {"log cat --since 2026-02-31 tree/a", 2, "is no time"},
        {std::string("commit ") + kState, 9, "nothing pending"},
        {std::string("discard ") + kState, 9, "nothing pending"},
    };
}

class UsageTest : public CliFixture {};

TEST_F(UsageTest, BadInputIsRefusedAndNothingTouched) {
    const auto before = Files();
    for (const Case& test : Cases()) {
        const ToolResult result = Run(test.arguments);
        EXPECT_EQ(result.exitCode, test.exitCode) << test.arguments;
        EXPECT_NE(result.err.find(test.words), std::string::npos) << result.err;
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
        EXPECT_EQ(Files(), before) << test.arguments;
    }
}

TEST_F(UsageTest, HelpAndVersionAreResults) {
    for (const std::string arguments : {"--help", "--version", "detect --help", "dump --version"}) {
        const ToolResult result = Run(arguments);
        EXPECT_EQ(result.exitCode, 0);
        EXPECT_EQ(result.err, "");
        EXPECT_NE(result.out.find("fenwickel"), std::string::npos);
    }
}

}  // namespace
