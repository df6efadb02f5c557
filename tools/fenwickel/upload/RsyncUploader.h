// Carries files by rsync, to a folder of this machine or of another one.
#pragma once

#include "Uploader.h"
#include "UploaderProgram.h"

class RsyncUploader final : public Uploader {
public:
    // destination as rsync takes it: PATH, HOST:PATH, HOST::MODULE/PATH, rsync://HOST/MODULE/PATH.
    // Throws Failure (Usage).
    RsyncUploader(const std::string& destination, const WString& scratch);

    ListStyle Style() const override;
    const char* Obstacle(std::string_view path, HostEntry kind) const override;
    bool IsDestinationEmpty() override;
    void Remove(const HandOver& work) override;
    void Send(const HandOver& work) override;

private:
    Failure Failed(const std::string& action, int exitCode) const;

    std::string m_destination;
    UploaderProgram m_program;
};
