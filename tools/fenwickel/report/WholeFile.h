// Files that are read as a whole, and replaced as a whole in one step.
#pragma once

#include <optional>
#include <string>
#include <utility>

#include "fenwickel/Types.h"

// The next content of a file. It is written beside the file, then takes its place in one step:
// after a crash the file has its old content or the new one, and once PutInPlace returns, the new
// one also after a power cut.
class Replacement {
public:
    explicit Replacement(WString file) : m_file(std::move(file)), m_fresh(m_file + WIDE(".new")) {}

    // Write the new content to this path. A killed run may have left something there.
    const WString& Path() const { return m_fresh; }

    // Forces the new content to the disk, renames it over the file and forces the folder to the
    // disk. Other programs that have the file open are waited for. Throws Failure.
    void PutInPlace() const;

private:
    WString m_file;
    WString m_fresh;
};

// The bytes of a file; nothing when there is none. Throws Failure when it cannot be read.
std::optional<std::string> ReadWholeFile(const WString& path);

// Gives the file this content by a Replacement. Throws Failure.
void WriteWholeFile(const WString& path, const std::string& bytes);

// Deletes the file; a missing one counts as deleted. Throws Failure.
void RemoveFile(const WString& path);
