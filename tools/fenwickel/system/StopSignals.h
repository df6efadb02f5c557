// Requests to end: Ctrl-C, termination, loss of the terminal.
#pragma once

// From now on a first Ctrl-C, termination request or loss of the terminal is remembered, a second
// ends the process. One that was ignored when the process started stays ignored.
void HostCatchStopSignals();

// 0, or the exit code that the remembered request asks for: 130 for Ctrl-C, 143 for termination,
// and 129 for the loss of the terminal.
int HostStopExitCode();
