#include "CommandUploader.h"

#include "report/ExitCodes.h"
#include "system/Paths.h"

// What a call is about, as its placeholders say it.
struct CommandUploader::Call {
    const char* action;
    const WString& list;
    std::uint64_t count;
};

namespace {

Failure Refused(const std::string& words, const std::string& why) {
    return {ExitCode::Usage, "--to \"cmd:" + Escaped(ValidUtf8(words)) + "\" " + why};
}

bool IsBlank(char c) {
    return c == ' ' || c == '\t' || c == '\n';
}

std::vector<std::string> Split(const std::string& text) {
    std::vector<std::string> words;
    bool inWord = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (IsBlank(text[i])) {
            inWord = false;
            continue;
        }
        if (!inWord) {
            words.emplace_back();
            inWord = true;
        }
        if (text[i] != '\'' && text[i] != '"') {
            words.back() += text[i];
            continue;
        }
        const std::size_t end = text.find(text[i], i + 1);
        if (end == std::string::npos) {
            throw Refused(text, "has a quote without its end: close it");
        }
        words.back() += text.substr(i + 1, end - i - 1);
        i = end;
    }
    return words;
}

using Values = std::vector<std::pair<std::string_view, std::string>>;

// The word with its placeholders replaced; what a value holds is not looked at again. *unknown is
// the first placeholder without a value, "" when there is none.
std::string Filled(const std::string& word, const Values& values, std::string* unknown) {
    std::string filled;
    for (std::size_t i = 0; i < word.size(); ++i) {
        const std::size_t end = word[i] == '{' ? word.find('}', i) : std::string::npos;
        if (end == std::string::npos) {
            filled += word[i];
            continue;
        }
        const std::string_view name = std::string_view(word).substr(i + 1, end - i - 1);
        bool known = false;
        for (const auto& [key, value] : values) {
            if (key == name) {
                filled += value;
                known = true;
            }
        }
        if (!known && unknown->empty()) {
            *unknown = word.substr(i, end - i + 1);
        }
        i = end;
    }
    return filled;
}

Values ValuesOf(const char* action, const WString& list, std::uint64_t count,
                const HandOver& work) {
    return {{"action", action},
            {"list", HostNativePath(list)},
            {"folder", HostNativePath(work.folder)},
            {"place", HostNativePath(work.place)},
            {"count", std::to_string(count)}};
}

}  // namespace

CommandUploader::CommandUploader(const std::string& words, const WString& scratch)
    : m_words(Split(words)), m_program(scratch) {
    if (m_words.empty() || m_words.front().empty()) {
        throw Refused(words, "names no program: write it first");
    }
    bool hasList = false;
    std::string unknown;
    for (const std::string& word : m_words) {
        Filled(word, ValuesOf("", WString(), 0, HandOver()), &unknown);
        hasList = hasList || word.find("{list}") != std::string::npos;
    }
    if (!unknown.empty()) {
        throw Refused(words, "has " + unknown +
                                 ": known are {action}, {list}, {folder}, {place} and {count}");
    }
    if (!hasList) {
        throw Refused(words, "has no {list}: the command learns from it what to carry");
    }
}

void CommandUploader::Run(const Call& call, const HandOver& work) const {
    if (call.count == 0) {
        return;
    }
    const Values values = ValuesOf(call.action, call.list, call.count, work);
    std::vector<std::string> command;
    std::string unknown;
    for (const std::string& word : m_words) {
        command.push_back(Filled(word, values, &unknown));
    }
    const ProgramEnd end = m_program.Run(command, {.shared = Shared()});
    if (end.exitCode != 0) {
        throw UploadFailure(std::string(call.action) + " files by", command.front(),
                            EndText("it", end.exitCode, {}), kSeeItsMessages);
    }
}

void CommandUploader::Remove(const HandOver& work) {
    Run({"remove", work.removals, work.removalCount}, work);
}

void CommandUploader::Send(const HandOver& work) {
    Run({"send", work.sends, work.sendCount}, work);
}
