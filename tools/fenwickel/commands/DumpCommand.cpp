// fenwickel dump: the records of a record file, in file order.
#include <bit>
#include <sstream>

#include "Commands.h"
#include "Options.h"
#include "listing/RecordReader.h"
#include "listing/RecordText.h"
#include "listing/StateFiles.h"
#include "log/LibraryLog.h"
#include "report/ExitCodes.h"
#include "report/Failure.h"
#include "report/Output.h"

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
        const bool named = std::has_single_bit(record.status) && (record.status & wanted) != 0;
        if (wanted != 0 && !named) {
            continue;
        }
        text.clear();
        if (json) {
            AppendJsonLine(text, Fields(record));
        } else {
            AppendTableRow(text, record);
        }
        output.Print(text);
    }
    output.Flush();
}

}  // namespace

int RunDump(const Command& command, std::vector<std::string> arguments) {
    const auto options = ParseOptions<DumpOptions>(command, std::move(arguments));
    if (!options) {
        return ExitCode::Done;
    }
    const std::uint8_t wanted = ParseStatuses(options->statuses);
    const WString path = PathArgument("FILE", options->file);
    const LibraryLog log;
    RecordReader reader(path);
    try {
        Print(reader, wanted, options->json);
    } catch (const OutputClosed&) {
        return ExitCode::Done;  // the reader of the pipe has seen enough
    }
    if (const auto& damage = reader.Damage()) {
        throw Failure(ExitCode::Damaged, Quoted(path) + " is " + damage->Text() +
                                             ": the records before it are printed; run fenwickel "
                                             "detect again to get a whole listing");
    }
    return ExitCode::Done;
}
