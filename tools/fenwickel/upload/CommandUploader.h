// Carries files by a command of the user's own.
#pragma once

#include "Uploader.h"
#include "UploaderProgram.h"

class CommandUploader final : public Uploader {
public:
    // words of a command, with blanks between them; '...' and "..." keep blanks in a word. No shell
    // sees them. {action} ("remove" or "send"), {list}, {folder}, {place} and {count} stand for
    // what a call is about; {list} must be there. Throws Failure (Usage).
    CommandUploader(const std::string& words, const WString& scratch);

    ListStyle Style() const override { return {"", '\0'}; }
    const char* Obstacle(std::string_view, HostEntry) const override { return nullptr; }
    bool IsDestinationEmpty() override { return false; }
    void Remove(const HandOver& work) override;
    void Send(const HandOver& work) override;

private:
    struct Call;
    void Run(const Call& call, const HandOver& work) const;

    std::vector<std::string> m_words;
    UploaderProgram m_program;
};
