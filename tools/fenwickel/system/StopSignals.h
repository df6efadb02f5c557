// Requests to end: Ctrl-C, termination, loss of the terminal.
#pragma once

// Longer than an uploader gets to end; with it, one request ends the process within 10 s.
inline constexpr unsigned kHostStopGraceSeconds = 8;

// From now on a first Ctrl-C, termination request or loss of the terminal is remembered, a second
// ends the process. One that was ignored when the process started stays ignored. A process that has
// not ended kHostStopGraceSeconds after the first ends then, with that request's exit code and
// otherwise as if it were killed: its threads may be held where no request reaches them, such as at
// a breakpoint of a log viewer.
void HostCatchStopSignals();

// 0, or the exit code that the remembered request asks for: 130 for Ctrl-C, 143 for termination,
// and 129 for the loss of the terminal.
int HostStopExitCode();
