#include "Progress.h"

#include <chrono>
#include <cstdio>
#include <system_error>
#include <utility>

#include "system/Terminal.h"

namespace {

constexpr std::chrono::milliseconds kReportNap{10};
constexpr int kNapsPerLine = 20;

void Show(std::string text) {
    text.resize(static_cast<std::size_t>(HostTerminalWidth() - 1), ' ');
    std::fprintf(stderr, "\r%s", text.c_str());
    std::fflush(stderr);
}

}  // namespace

Progress::Progress(std::function<std::string(double)> lineAfter)
    : m_lineAfter(std::move(lineAfter)) {
    try {
        m_thread = std::thread(&Progress::Run, this);
    } catch (const std::system_error&) {
        m_ended = true;
    }
}

Progress::~Progress() {
    m_ended = true;
    if (m_thread.joinable()) {
        m_thread.join();
        Show("");
        std::fputc('\r', stderr);
    }
}

void Progress::Run() {
    const auto start = std::chrono::steady_clock::now();
    for (int naps = 0; !m_ended; ++naps) {
        std::this_thread::sleep_for(kReportNap);
        if (naps % kNapsPerLine == 0) {
            const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
            Show(m_lineAfter(elapsed.count()));
        }
    }
}
