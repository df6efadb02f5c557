// Carries files by rsync, to a folder of this machine or of another one.
#pragma once

#include <optional>

#include "Uploader.h"
#include "UploaderProgram.h"

class RsyncUploader final : public Uploader {
public:
    // destination as rsync takes it: PATH, HOST:PATH, HOST::MODULE/PATH, rsync://HOST/MODULE/PATH.
    // Throws Failure (Usage). Without keepOwners root keeps them in a folder of this machine.
    RsyncUploader(const std::string& destination, const WString& scratch,
                  std::optional<bool> keepOwners);

    ListStyle Style() const override;
    const char* Obstacle(std::string_view path, HostEntry kind) const override;
    bool IsDestinationEmpty() override;
    void Remove(const HandOver& work) override;
    void Send(const HandOver& work) override;

private:
    void AddRights(std::vector<std::string>* command) const;
    Failure Failed(const std::string& action, int exitCode) const;

    std::string m_destination;
    bool m_isLocal;
    bool m_keepsOwners;
    UploaderProgram m_program;
};
