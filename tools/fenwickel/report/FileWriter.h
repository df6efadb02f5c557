// A file that is written from its beginning to its end, piece by piece.
#pragma once

#include <string>
#include <string_view>

#include "fenwickel/Types.h"

// Open from construction to destruction. Replaces a file of that name.
class ListFile {
public:
    // Throws Failure, as every operation does.
    explicit ListFile(WString path);
    ListFile(ListFile&& other) noexcept;
    ListFile& operator=(ListFile&&) = delete;
    ~ListFile();

    void Append(std::string_view bytes) {
        m_bytes += bytes;
        if (m_bytes.size() >= kLimitBytes) {
            Write();
        }
    }

    // Writes what is left and forces all to the disk. Without it the end of the file is missing.
    void Finish();

    const WString& Path() const { return m_path; }

private:
    static constexpr std::size_t kLimitBytes = 1U << 16U;

    void Write();

    WString m_path;
    HANDLE m_file;
    std::string m_bytes;
};
