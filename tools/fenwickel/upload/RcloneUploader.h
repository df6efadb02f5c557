// Carries files by rclone, to any storage that it knows.
#pragma once

#include <optional>

#include "Uploader.h"
#include "UploaderProgram.h"

class RcloneUploader final : public Uploader {
public:
    // destination as rclone takes it: REMOTE:PATH, or a folder of this machine. Throws Failure
    // (Usage). keepOwners is about such a folder alone; without it root keeps them.
    RcloneUploader(const std::string& destination, const WString& scratch,
                   std::optional<bool> keepOwners);

    ListStyle Style() const override;
    const char* Obstacle(std::string_view path, HostEntry kind) const override;
    bool IsDestinationEmpty() override;
    void Remove(const HandOver& work) override;
    void Send(const HandOver& work) override;

private:
    // Runs rclone with the words, which may overrule what all calls share, and behind "--" the last
    // ones. *log is what it reported.
    ProgramEnd Run(const std::vector<std::string>& words, const std::vector<std::string>& last,
                   std::string* log) const;
    bool HasRemoved(const std::vector<std::string>& words, const std::string& target,
                    std::string* log, int* exitCode) const;
    void RemoveReplaced(const HandOver& work, const std::string& target) const;
    bool RemoveEmptyFolders(const std::string& target) const;
    Failure Failed(const std::string& action, int exitCode) const;

    std::string m_destination;
    std::vector<std::string> m_rights;  // words that tell rclone which modes and owners files get
    UploaderProgram m_program;
};
