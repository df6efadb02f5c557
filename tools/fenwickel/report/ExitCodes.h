// The exit codes of the program, as its manual page lists them.
#pragma once

namespace ExitCode {

inline constexpr int Done = 0;
inline constexpr int Failed = 1;          // nothing was published
inline constexpr int Usage = 2;           // wrong usage; nothing was touched
inline constexpr int ChangesExist = 4;    // only with --exit-code
inline constexpr int Stopped = 5;         // a safety stop before anything was sent
inline constexpr int Held = 6;            // another run holds the state files, or another viewer
inline constexpr int NoSnapshot = 7;      // one was required and is not available
inline constexpr int Damaged = 8;         // a record file is damaged
inline constexpr int NothingPending = 9;  // there is no run to commit or discard
inline constexpr int Upload = 10;         // the uploader failed; nothing was committed
inline constexpr int Interrupted = 130;   // stopped by Ctrl-C
inline constexpr int Terminated = 143;    // stopped by a termination request

// For the end of every help text.
inline constexpr const char* Help =
    "Exit codes: 0 done; 1 failed, nothing published; 2 wrong usage, nothing touched;\n"
    "4 changes exist (--exit-code); 5 safety stop, nothing sent; 6 another run holds the\n"
    "state files, or another viewer watches the program; 7 no snapshot available;\n"
    "8 a record file is damaged; 9 nothing pending; 10 the uploader failed;\n"
    "129, 130, 143 stopped by a signal.";

}  // namespace ExitCode
