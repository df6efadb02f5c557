// A file that is written from its beginning to its end, piece by piece.
#pragma once

#include <string>
#include <string_view>

#include "platform/OwnedHandle.h"

// Open from construction until Finish or destruction. Replaces the content of a file of that name.
class FileWriter {
public:
    // Throws Failure, as every operation does.
    explicit FileWriter(WString path);

    void Append(std::string_view bytes) {
        m_bytes += bytes;
        if (m_bytes.size() >= kLimitBytes) {
            Write();
        }
    }

    // Writes what is left and closes the file. Without it the end of the file is missing.
    void Finish();

    const WString& Path() const { return m_path; }

private:
    static constexpr std::size_t kLimitBytes = 1U << 16U;

    void Write();

    WString m_path;
    OwnedHandle m_file;
    std::string m_bytes;
};
