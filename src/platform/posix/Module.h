// Paths of programs, as /proc shows them.
#pragma once

#include <string>

// The path without the mark that the system puts behind that of a file that is gone meanwhile.
std::string WithoutDeletedMark(std::string path);

// The absolute path of this process's executable, empty when it cannot be told.
std::string ExecutablePath();
