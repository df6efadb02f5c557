// How a command ends early: an exception that carries the one-line message and the codes.
#pragma once

#include <cstdint>
#include <exception>
#include <string>

#include "fenwickel/Types.h"

// Thrown by any step of a command, reported once by main.
class Failure : public std::exception {
public:
    // resultCode is what --json reports: the code of the library or of the system when there is
    // one, else the exit code.
    Failure(int exitCode, int resultCode, std::string message)
        : m_exitCode(exitCode), m_resultCode(resultCode), m_message(std::move(message)) {}
    Failure(int exitCode, std::string message) : Failure(exitCode, exitCode, std::move(message)) {}

    int Exit() const { return m_exitCode; }
    int Result() const { return m_resultCode; }
    const char* what() const noexcept override { return m_message.c_str(); }

private:
    int m_exitCode;
    int m_resultCode;
    std::string m_message;
};

// A system call that failed: `cannot ACTION "PATH": REASON (CODE): REMEDY`.
Failure SystemFailure(int exitCode, const std::string& action, const WString& path,
                      std::uint32_t code, const std::string& remedy);

// The same for a file of the tool's own that cannot be read, written or replaced, with a remedy for
// the code.
Failure FileFailure(const std::string& action, const WString& path, std::uint32_t code);

// The path for a message: UTF-8 in quotes, control characters escaped.
std::string Quoted(const WString& path);

// "The file is in use (32)", for a code of the library or of the system.
std::string Reason(int code);

// The text with U+FFFD for each byte that is not UTF-8, as an argument may hold.
std::string ValidUtf8(const std::string& text);

// UTF-8 text with control characters as \n, \t or \xNN, so that it stays on its line and cannot
// steer a terminal.
std::string Escaped(const std::string& text);
