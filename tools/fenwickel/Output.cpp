#include "Output.h"

#include <cerrno>
#include <cstdio>
#include <system_error>

#include "ExitCodes.h"
#include "Failure.h"

namespace {

void Require(bool written) {
    if (!written) {
        const int code = errno;
        throw Failure(ExitCode::Failed, "cannot write the results to standard output: " +
                                            std::generic_category().message(code) + " (" +
                                            std::to_string(code) + "): check where it leads");
    }
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
