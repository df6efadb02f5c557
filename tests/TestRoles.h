// Other processes in a test: the test program itself, started again in a named role.
#pragma once

#include <string>
#include <vector>

// A role: what a child process does instead of running tests. A static object of this type makes
// the role known to the program's main function.
class TestRole {
public:
    using Body = int (*)(const std::vector<std::string>& arguments);
    TestRole(const char* name, Body body);
};

// The command that starts this program in the role; for HostChild::Start.
std::vector<std::string> RoleCommand(const std::string& role,
                                     std::vector<std::string> arguments = {});
