// The standard streams, and the words that the process was started with.
//
// Text in std::string is UTF-8, except that an argument on POSIX systems is the bytes as the user
// gave them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// The arguments of the process without its name.
std::vector<std::string> HostArguments(int argc, char** argv);

// True when the standard stream (1 output, 2 error) is a terminal.
bool HostIsTerminal(int stream);

// Columns of the terminal on standard error, 80 when unknown.
int HostTerminalWidth();

// True when the standard stream (1 output, 2 error) is a terminal that shows colours by ANSI escape
// sequences, and the user does not refuse colours by a NO_COLOR that is not empty. Switches them on
// where the system asks for that.
bool HostEnableColours(int stream);

// What a wait for input ended with.
enum class HostInput { Line, Nothing, End };

// Waits for the next line of standard input, at most so long. Line: *line has it without its line
// end, the last one also when it had none. Nothing: the time was over, or a caught stop request
// came, which ends the wait at once. End: no line will follow. One thread may call it; nothing else
// may read standard input then.
HostInput HostReadLine(std::string* line, std::uint32_t milliseconds);

// Puts standard output into a mode that keeps UTF-8 bytes and line feeds as written, and in which
// writing to a closed pipe, or beyond the limit on file sizes, fails instead of ending the process.
void HostPrepareOutput();
