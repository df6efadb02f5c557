// Standard output with a check that everything arrived.
#pragma once

#include <string>
#include <string_view>

#include "Failure.h"

// Standard output is a pipe whose reader has closed it.
class OutputClosed : public Failure {
    using Failure::Failure;
};

// Gathers text and writes it in large pieces. Text that is not flushed is lost.
class Output {
public:
    // Adds text, writing when much has gathered. Throws Failure when standard output is broken.
    void Print(std::string_view text) {
        m_text += text;
        if (m_text.size() >= kLimitBytes) {
            Write();
        }
    }

    // Writes all that is left. Throws Failure when not all of it could be written.
    void Flush();

private:
    static constexpr std::size_t kLimitBytes = 1U << 18U;

    void Write();

    std::string m_text;
};

// Writes the text to standard output at once. Throws Failure when not all of it could be written.
void PrintWhole(std::string_view text);
