#include "ExecutableName.h"

#include "logshare/BreakpointBlock.h"
#include "logshare/RingBlock.h"
#include "report/ExitCodes.h"
#include "system/Paths.h"

// Below a root the conversion needs no working folder, and it keeps every byte of the name.
WString ExecutableName(const std::string& argument) {
    const WString path = HostWidePath("/" + argument);
    WString name = path.substr(path.find_last_of(WCHAR{'\\'}) + 1);
    const char* wrong = nullptr;
    if (name.empty() || argument.find_first_of("/\\") != std::string::npos) {
        wrong = "give the file name of the executable, without folders";
    } else if (name.size() >= kBreakpointNameCapacity) {
        wrong = "the name is too long";
    }
    if (wrong != nullptr) {
        throw Failure(ExitCode::Usage, "--exe \"" + Escaped(ValidUtf8(argument)) + "\": " + wrong);
    }
    return name;
}

Failure ViewerFailure() {
    return SystemFailure(ExitCode::Failed, "make the event", kViewerPresenceEvent, GetLastError(),
                         "check whether another account made one of that name");
}
