// What the library logs, read back from the file that FENWICKEL_LOG names.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

// The log lines of this process since the object was made (or since Restart).
class CapturedLog {
public:
    CapturedLog() { Restart(); }

    void Restart();
    std::vector<std::string> Lines() const;

    // Whether some line holds the text.
    bool Contains(const std::string& text) const;

private:
    std::size_t m_start = 0;
};
