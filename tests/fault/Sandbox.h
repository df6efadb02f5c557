// A small tree with the state files of its synchronisation, and the faulty program to run on them.
#pragma once

#include <map>
#include <string>

#include "FaultyRun.h"
#include "Listings.h"

// What the state files hold; a file that does not exist has no entry.
using State = std::map<std::string, std::string>;

// "path" and status of every record in both lists of a run.
using Answer = std::map<std::string, int>;

class Sandbox {
public:
    // Commits a listing of the tree, then adds, changes and deletes files.
    Sandbox();

    // Runs a command on the tree. The fault may be empty; calls are traced when tracing.
    Ended Run(const std::string& command, const std::string& fault = "", bool tracing = false);

    State Read() const;
    void Write(const State& state);
    const std::filesystem::path& Folder() const { return m_folder.path(); }

private:
    TempFolder m_folder;
};

// The bytes of a listing without creation and access times; "damaged" for what is not whole.
std::string Plain(const std::string& listing);

Answer AnswerOf(const State& state);
