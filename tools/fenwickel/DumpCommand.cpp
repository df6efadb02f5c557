// fenwickel dump: the records of a record file, in file order.
#include <sstream>

#include "Commands.h"
#include "ExitCodes.h"
#include "Failure.h"
#include "Output.h"
#include "RecordReader.h"
#include "RecordText.h"
#include "platform/Host.h"

namespace {

// One bit per wanted status: the status values are single bits. 0 means every record.
std::uint8_t ParseStatuses(const std::string& list) {
    std::uint8_t wanted = 0;
    std::istringstream names(list);
    for (std::string name; std::getline(names, name, ',');) {
        const std::uint8_t status = StatusFromName(name);
        if (status == 0) {
            throw Failure(ExitCode::Usage, "--status \"" + Escaped(name) +
                                               "\": choose from new,changed,unchanged,deleted");
        }
        wanted |= status;
    }
    return wanted;
}

void Print(RecordReader& reader, std::uint8_t wanted, bool json) {
    Output output;
    if (!json) {
        output.Print(TableHeading());
    }
    RecordView record;
    std::string text;
    while (reader.Next(record)) {
        if (wanted != 0 && (record.status & wanted) == 0) {
            continue;
        }
        text.clear();
        if (json) {
            AppendJsonLine(text, record);
        } else {
            AppendTableRow(text, record);
        }
        output.Print(text);
    }
    output.Flush();
}

}  // namespace

int RunDump(CLI::App& app, std::vector<std::string> arguments) {
    std::string file;
    std::string statuses;
    bool json = false;
    app.add_option("FILE", file, "Record file: a base, syncing or deleted-item file")
        ->required()
        ->type_name("");
    app.add_flag("--json", json, "Print one JSON object per record");
    app.add_option("--status", statuses, "Only records with these statuses: new,changed,...")
        ->type_name("LIST");
    if (!ParseArguments(app, std::move(arguments))) {
        return ExitCode::Done;
    }
    const std::uint8_t wanted = ParseStatuses(statuses);
    const WString path = HostWidePath(file);
    RecordReader reader(path);
    Print(reader, wanted, json);
    if (const auto& damage = reader.Damage()) {
        throw Failure(ExitCode::Damaged, Quoted(path) + " is " + damage->Text() +
                                             ": the records before it are printed; run fenwickel "
                                             "detect again to get a whole listing");
    }
    return ExitCode::Done;
}
