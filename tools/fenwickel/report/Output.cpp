#include "Output.h"

#include <cerrno>
#include <cstdio>
#include <system_error>

#include "ExitCodes.h"

namespace {

void Require(bool written) {
    if (written) {
        return;
    }
    const int code = errno;
    const std::string message =
        "cannot write the results to standard output: " + std::generic_category().message(code) +
        " (" + std::to_string(code) + "): check where it leads";
    if (code == EPIPE) {
        throw OutputClosed(ExitCode::Failed, message);
    }
    throw Failure(ExitCode::Failed, message);
}

}  // namespace

void Output::Write() {
    const std::size_t count = m_text.size();
    Require(std::fwrite(m_text.data(), 1, count, stdout) == count);
    m_text.clear();
}

void Output::Flush() {
    Write();
    Require(std::fflush(stdout) == 0);
}

void PrintWhole(std::string_view text) {
    Output output;
    output.Print(text);
    output.Flush();
}
