// The main function of every test program.
#include <gtest/gtest.h>

#include <cstdio>
#include <map>

#include "TestRoles.h"
#include "system/Processes.h"
#include "system/Terminal.h"

namespace {

std::map<std::string, TestRole::Body>& Roles() {
    static std::map<std::string, TestRole::Body> roles;
    return roles;
}

constexpr const char* kRoleSwitch = "--role";

}  // namespace

TestRole::TestRole(const char* name, Body body) {
    Roles()[name] = body;
}

std::vector<std::string> RoleCommand(const std::string& role, std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {HostOwnProgram(), kRoleSwitch, role});
    return arguments;
}

int main(int argc, char** argv) {
    const std::vector<std::string> arguments = HostArguments(argc, argv);
    if (arguments.size() >= 2 && arguments[0] == kRoleSwitch) {
        return Roles().at(arguments[1])({arguments.begin() + 2, arguments.end()});
    }
    testing::InitGoogleTest(&argc, argv);
    const int result = RUN_ALL_TESTS();
    // A program that does not print this line has crashed, whatever its exit code is.
    std::printf("fenwickel tests: done, exit %d\n", result);
    return result;
}
