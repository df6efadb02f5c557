#include "Sandbox.h"

namespace {

constexpr const char* kFiles[] = {"base", "syncing", "deleted"};

}  // namespace

Sandbox::Sandbox() {
    std::filesystem::create_directories(m_folder / "tree/sub");
    for (const char* name : {"same", "changed", "gone", "sub/same", "sub/gone"}) {
        WriteBytes(m_folder / "tree" / name, "1");
    }
    Run("detect");
    Run("commit");
    for (const char* name : {"changed", "new", "sub/new"}) {
        WriteBytes(m_folder / "tree" / name, "22");
    }
    std::filesystem::remove(m_folder / "tree/gone");
    std::filesystem::remove(m_folder / "tree/sub/gone");
}

Ended Sandbox::Run(const std::string& command, const std::string& fault, bool tracing) {
    const std::string root = m_folder.path().string() + "/";
    std::vector<std::string> arguments = {command,         "--base",         root + "base",
                                          "--syncing",     root + "syncing", "--deleted",
                                          root + "deleted"};
    if (command == "detect") {
        arguments.push_back(root + "tree");
    }
    return RunFaulty(m_folder.path(), arguments, fault, tracing);
}

State Sandbox::Read() const {
    State state;
    for (const char* name : kFiles) {
        if (std::filesystem::exists(m_folder / name)) {
            state[name] = ReadBytes(m_folder / name);
        }
    }
    return state;
}

void Sandbox::Write(const State& state) {
    for (const char* name : kFiles) {
        std::filesystem::remove(m_folder / name);
    }
    for (const auto& [name, bytes] : state) {
        WriteBytes(m_folder / name, bytes);
    }
}

std::string Plain(const std::string& listing) {
    std::vector<Row> rows = RowsOf(listing);
    if (listing != FileBytes(rows)) {
        return listing.empty() ? "" : "damaged";
    }
    for (Row& row : rows) {
        row.createTime = row.accessTime = 0;
    }
    return FileBytes(rows);
}

Answer AnswerOf(const State& state) {
    Answer answer;
    for (const char* list : {"syncing", "deleted"}) {
        const auto found = state.find(list);
        for (const Row& row : found == state.end() ? std::vector<Row>() : RowsOf(found->second)) {
            answer[row.path] += row.status;
        }
    }
    return answer;
}
