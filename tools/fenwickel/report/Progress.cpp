#include "Progress.h"

#include <chrono>
#include <cstdio>
#include <string>
#include <system_error>

#include "system/Terminal.h"

namespace {

constexpr std::chrono::milliseconds kReportNap{10};
constexpr int kNapsPerLine = 20;

void Show(std::string text) {
    text.resize(static_cast<std::size_t>(HostTerminalWidth() - 1), ' ');
    std::fprintf(stderr, "\r%s", text.c_str());
    std::fflush(stderr);
}

std::string LineOf(const JobControl& control, double seconds) {
    const std::uint64_t seen = control.FilesSeen();
    if (seen == 0) {
        return "reading the previous listing";
    }
    char text[128];
    std::snprintf(text, sizeof text, "about %llu files examined, %llu known before, %.1f s",
                  static_cast<unsigned long long>(seen),
                  static_cast<unsigned long long>(control.FilesKnown()), seconds);
    return text;
}

}  // namespace

Progress::Progress(const JobControl& control) : m_control(control) {
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
            Show(LineOf(m_control, elapsed.count()));
        }
    }
}
