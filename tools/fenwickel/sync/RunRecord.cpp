#include "RunRecord.h"

#include <cstdio>
#include <cstdlib>
#include <utility>

#include "platform/Text.h"
#include "report/ExitCodes.h"
#include "report/Failure.h"
#include "report/WholeFile.h"

namespace {

constexpr std::uint64_t kFormat = 1;
constexpr const char* kStages[] = {"running", "pending", "committing"};  // by RunStage

// Arguments are bytes. Those that JSON text cannot hold are written as "bytes:" and hex digits.
constexpr std::string_view kBytesMark = "bytes:";

std::string ExactText(const std::string& bytes) {
    if (ValidUtf8(bytes) == bytes && !bytes.starts_with(kBytesMark)) {
        return bytes;
    }
    std::string text(kBytesMark);
    for (const char byte : bytes) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned char>(byte));
        text += digits;
    }
    return text;
}

std::string ExactBytes(const std::string& text) {
    if (!text.starts_with(kBytesMark)) {
        return text;
    }
    std::string bytes;
    for (std::size_t i = kBytesMark.size(); i + 1 < text.size(); i += 2) {
        bytes += static_cast<char>(std::strtoul(text.substr(i, 2).c_str(), nullptr, 16));
    }
    return bytes;
}

// The values of one file, taken out by name. What is missing, of another kind, or left over in the
// end makes the file damaged: a program that does not know all of it may not act on it.
class StoredFields {
public:
    StoredFields(WString path, const std::string& bytes, const char* remedy)
        : m_path(std::move(path)), m_remedy(remedy) {
        auto values = ParseJsonObject(bytes);
        if (!values) {
            throw Damaged("no JSON object of this program");
        }
        m_values = std::move(*values);
        if (Take<std::uint64_t>("format") != kFormat) {
            throw Damaged("of another version of this program");
        }
    }

    template <typename Kind>
    Kind Take(const std::string& name) {
        const auto found = m_values.find(name);
        if (found == m_values.end() || !std::holds_alternative<Kind>(found->second)) {
            throw Damaged("without a sound \"" + name + '"');
        }
        Kind value = std::get<Kind>(std::move(found->second));
        m_values.erase(found);
        return value;
    }

    std::string TakeText(const char* name) { return ExactBytes(Take<std::string>(name)); }

    std::vector<WString> TakePaths(const char* name) {
        std::vector<WString> paths;
        for (const std::string& path : Take<std::vector<std::string>>(name)) {
            paths.push_back(WideFromUtf8(path));
        }
        return paths;
    }

    void RequireEmpty() const {
        if (!m_values.empty()) {
            throw Damaged("with an unknown \"" + Escaped(m_values.begin()->first) + '"');
        }
    }

    Failure Damaged(const std::string& what) const {
        return {ExitCode::Damaged, Quoted(m_path) + " is damaged (" + what + "): " + m_remedy};
    }

private:
    WString m_path;
    const char* m_remedy;
    std::map<std::string, JsonValue> m_values;
};

std::optional<StoredFields> Load(const StateFolder& state, StateFile file, const char* remedy) {
    const WString path = state.File(file);
    const std::optional<std::string> bytes = ReadWholeFile(path);
    return bytes ? std::optional<StoredFields>(std::in_place, path, *bytes, remedy) : std::nullopt;
}

void Save(const StateFolder& state, StateFile file, const JsonFields& fields) {
    JsonFields all = {{"format", kFormat}};
    all.insert(all.end(), fields.begin(), fields.end());
    std::string text;
    AppendJsonLine(text, all);
    WriteWholeFile(state.File(file), text);
}

std::vector<std::string> Texts(const std::vector<WString>& paths) {
    std::vector<std::string> texts;
    texts.reserve(paths.size());
    for (const WString& path : paths) {
        texts.push_back(Utf8FromWide(path));
    }
    return texts;
}

JsonFields Stored(const StateSettings& settings) {
    return {{"folders", Texts(settings.folders)},
            {"volumes", Texts(settings.volumes)},
            {"nested", Texts(settings.nested)},
            {"destination", ExactText(settings.destination)}};
}

StateSettings TakeSettings(StoredFields& fields) {
    StateSettings settings;
    settings.folders = fields.TakePaths("folders");
    settings.volumes = fields.TakePaths("volumes");
    settings.nested = fields.TakePaths("nested");
    settings.destination = fields.TakeText("destination");
    if (settings.folders.empty() || settings.volumes.size() != settings.folders.size()) {
        throw fields.Damaged("without a volume for each folder");
    }
    return settings;
}

JsonFields Stored(const RunSummary& summary) {
    JsonFields fields;
    for (const SummaryText& text : kSummaryTexts) {
        fields.emplace_back(text.name, ExactText(TextOf(summary, text)));
    }
    for (const SummaryCount& count : kSummaryCounts) {
        fields.emplace_back(count.name, summary.*count.member);
    }
    fields.emplace_back("exit_code", static_cast<std::uint64_t>(summary.exitCode));
    fields.emplace_back("message", ExactText(summary.message));
    return fields;
}

RunSummary TakeSummary(StoredFields& fields) {
    RunSummary summary;
    for (const SummaryText& text : kSummaryTexts) {
        if (!SetText(&summary, text, fields.TakeText(text.name))) {
            throw fields.Damaged(std::string("without a sound \"") + text.name + '"');
        }
    }
    for (const SummaryCount& count : kSummaryCounts) {
        summary.*count.member = fields.Take<std::uint64_t>(count.name);
    }
    const auto exitCode = fields.Take<std::uint64_t>("exit_code");
    if (exitCode > 255) {
        throw fields.Damaged("without a sound \"exit_code\"");
    }
    summary.exitCode = static_cast<int>(exitCode);
    summary.message = fields.TakeText("message");
    return summary;
}

RunStage TakeStage(StoredFields& fields) {
    const auto name = fields.Take<std::string>("stage");
    for (const RunStage stage : {RunStage::Running, RunStage::Pending, RunStage::Committing}) {
        if (name == kStages[static_cast<int>(stage)]) {
            return stage;
        }
    }
    throw fields.Damaged("without a sound \"stage\"");
}

}  // namespace

std::optional<RunRecord> LoadRun(const StateFolder& state) {
    auto fields =
        Load(state, StateFile::Run,
             "delete it to drop the run that it describes; the next sync sends again what "
             "that one may have sent");
    if (!fields) {
        return {};
    }
    RunRecord run;
    run.stage = TakeStage(*fields);
    run.settings = TakeSettings(*fields);
    run.summary = TakeSummary(*fields);
    fields->RequireEmpty();
    return run;
}

void SaveRun(const StateFolder& state, const RunRecord& run) {
    JsonFields fields = {{"stage", std::string(kStages[static_cast<int>(run.stage)])}};
    for (const JsonFields& part : {Stored(run.settings), Stored(run.summary)}) {
        fields.insert(fields.end(), part.begin(), part.end());
    }
    Save(state, StateFile::Run, fields);
}

void RemoveRun(const StateFolder& state) {
    RemoveFile(state.File(StateFile::Run));
}

std::optional<StateSettings> LoadSettings(const StateFolder& state) {
    auto fields = Load(state, StateFile::Settings,
                       "it says what the base stands for: restore it, or delete it and the file "
                       "base beside it to start over with every file new");
    if (!fields) {
        return {};
    }
    StateSettings settings = TakeSettings(*fields);
    fields->RequireEmpty();
    return settings;
}

void SaveSettings(const StateFolder& state, const StateSettings& settings) {
    Save(state, StateFile::Settings, Stored(settings));
}

std::optional<RunSummary> LoadLast(const StateFolder& state) {
    auto fields = Load(state, StateFile::Last, "delete it, it only describes the last run");
    if (!fields) {
        return {};
    }
    RunSummary last = TakeSummary(*fields);
    fields->RequireEmpty();
    return last;
}

void SaveLast(const StateFolder& state, const RunSummary& last) {
    Save(state, StateFile::Last, Stored(last));
}
