#include "system/Child.h"

#include <algorithm>
#include <array>
#include <utility>

#include "platform/OwnedHandle.h"
#include "platform/Text.h"
#include "system/windows/Environment.h"

namespace {

// A word of a command line so that the child's own parser gives it back: in quotes, with
// backslashes doubled where a quote follows them.
WString Quoted(std::string_view word) {
    WString quoted = L"\"";
    std::size_t backslashes = 0;
    for (const WCHAR unit : WideFromUtf8(word)) {
        if (unit == L'"') {
            quoted.append(backslashes + 1, L'\\');
        }
        backslashes = unit == L'\\' ? backslashes + 1 : 0;
        quoted += unit;
    }
    quoted.append(backslashes, L'\\');
    return quoted + L'"';
}

WString CommandLine(const std::vector<std::string>& command) {
    WString line;
    for (const std::string& word : command) {
        line += (line.empty() ? L"" : L" ") + Quoted(word);
    }
    return line;
}

// The three standard streams of a child and what else it is given, in handles that it may inherit.
class ChildStreams {
public:
    explicit ChildStreams(const HostChildOptions& options) {
        m_owned[0] = Opened(L"NUL", GENERIC_READ, OPEN_EXISTING);
        m_owned[1] =
            Output(options.output, options.outputToErrors ? STD_ERROR_HANDLE : STD_OUTPUT_HANDLE);
        m_owned[2] = Output(options.errors, STD_ERROR_HANDLE);
        if (options.inherited != nullptr) {
            m_owned[3] = Required(Duplicated(options.inherited));
        }
        for (const OwnedHandle& handle : m_owned) {
            if (handle) {
                m_given[m_count++] = handle.get();
            }
        }
    }

    // ERROR_SUCCESS, or why an option could not be met. A standard stream that this process lacks
    // is lacking in the child, too.
    DWORD Error() const { return m_error; }

    HANDLE Stream(std::size_t index) const { return m_owned[index].get(); }
    HANDLE* Given() { return m_given.data(); }
    std::size_t GivenBytes() const { return m_count * sizeof(HANDLE); }

private:
    static OwnedHandle Opened(const WCHAR* path, DWORD access, DWORD disposition) {
        SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
        const HANDLE file = CreateFileW(path, access, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                        &inherited, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
        return OwnedHandle(file == INVALID_HANDLE_VALUE ? nullptr : file);
    }

    static OwnedHandle Duplicated(HANDLE handle) {
        HANDLE copy = nullptr;
        const HANDLE self = GetCurrentProcess();
        if (!DuplicateHandle(self, handle, self, &copy, 0, TRUE, DUPLICATE_SAME_ACCESS)) {
            return OwnedHandle();
        }
        return OwnedHandle(copy);
    }

    OwnedHandle Required(OwnedHandle handle) {
        if (!handle && m_error == ERROR_SUCCESS) {
            m_error = GetLastError();
        }
        return handle;
    }

    OwnedHandle Output(const WString& path, DWORD stream) {
        return path.empty() ? Duplicated(GetStdHandle(stream))
                            : Required(Opened(path.c_str(), GENERIC_WRITE, CREATE_ALWAYS));
    }

    std::array<OwnedHandle, 4> m_owned;
    std::array<HANDLE, 4> m_given{};
    std::size_t m_count = 0;
    DWORD m_error = ERROR_SUCCESS;
};

// The list that keeps every other inheritable handle of this process out of the child.
class AttributeList {
public:
    explicit AttributeList(ChildStreams* streams) {
        SIZE_T size = 0;
        InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
        m_memory.resize(size);
        m_ready = InitializeProcThreadAttributeList(get(), 1, 0, &size) != FALSE;
        m_ready = m_ready && UpdateProcThreadAttribute(get(), 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST,
                                                       streams->Given(), streams->GivenBytes(),
                                                       nullptr, nullptr) != FALSE;
    }
    ~AttributeList() {
        if (m_ready) {
            DeleteProcThreadAttributeList(get());
        }
    }
    AttributeList(const AttributeList&) = delete;
    AttributeList& operator=(const AttributeList&) = delete;

    explicit operator bool() const { return m_ready; }
    LPPROC_THREAD_ATTRIBUTE_LIST get() {
        return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(m_memory.data());
    }

private:
    std::vector<std::uint64_t> m_memory;  // more than enough, in words for their alignment
    bool m_ready = false;
};

// The job that all children are put into. Its only handle is closed by the system when this process
// has ended, in whatever way, and with it end the children. Null when the system gives none.
HANDLE EndsWithThisProcess() {
    static const HANDLE job = [] {
        JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
        limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
        const HANDLE made = CreateJobObjectW(nullptr, nullptr);
        if (made != nullptr) {
            SetInformationJobObject(made, JobObjectExtendedLimitInformation, &limits,
                                    sizeof limits);
        }
        return made;
    }();
    return job;
}

bool IsAbsolute(const WString& folder) {
    return folder.starts_with(L"\\\\") || folder.find(L":\\") == 1;
}

// The program in the folder, which may come without its ".exe"; "" when it is not there.
WString ProgramIn(const WString& folder, const WString& name) {
    WString path(folder.size() + name.size() + MAX_PATH, L'\0');
    const DWORD length = SearchPathW(folder.c_str(), name.c_str(), L".exe",
                                     static_cast<DWORD>(path.size()), path.data(), nullptr);
    path.resize(length < path.size() ? length : 0);
    return path;
}

// The path of a program. "" for a name that no absolute folder of PATH has: left to itself the
// system would begin with the folder of this program and with the working folder.
WString ProgramPath(const WString& name) {
    if (name.find_first_of(L"\\/:") != WString::npos) {
        return name;
    }
    const WString list = Environment(L"PATH");
    WString path;
    for (std::size_t start = 0; start < list.size() && path.empty();) {
        const std::size_t end = std::min(list.find(L';', start), list.size());
        WString folder = list.substr(start, end - start);
        std::erase(folder, L'"');
        path = IsAbsolute(folder) ? ProgramIn(folder, name) : WString();
        start = end + 1;
    }
    return path;
}

constexpr UINT kKilled = 137;  // what SIGKILL gives elsewhere

HANDLE HandleOf(std::intptr_t handle) {
    return reinterpret_cast<HANDLE>(handle);
}

}  // namespace

HostChild HostChild::Start(const std::vector<std::string>& command,
                           const HostChildOptions& options) {
    HostChild child;
    if (command.empty()) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return child;
    }
    ChildStreams streams(options);
    if (streams.Error() != ERROR_SUCCESS) {
        SetLastError(streams.Error());
        return child;
    }
    AttributeList attributes(&streams);
    STARTUPINFOEXW startup{};
    startup.StartupInfo.cb = sizeof startup;
    startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    startup.StartupInfo.hStdInput = streams.Stream(0);
    startup.StartupInfo.hStdOutput = streams.Stream(1);
    startup.StartupInfo.hStdError = streams.Stream(2);
    startup.lpAttributeList = attributes.get();
    const WString name = WideFromUtf8(command[0]);
    const WString program = ProgramPath(name);
    // For a path that was given as one the system adds what it lacks of ".exe".
    const WCHAR* const found = program == name ? nullptr : program.c_str();
    if (program.empty()) {
        SetLastError(ERROR_FILE_NOT_FOUND);
        return child;
    }
    WString line = CommandLine(command);
    PROCESS_INFORMATION process{};
    if (!attributes || !CreateProcessW(found, line.data(), nullptr, nullptr, TRUE,
                                       EXTENDED_STARTUPINFO_PRESENT | CREATE_SUSPENDED, nullptr,
                                       nullptr, &startup.StartupInfo, &process)) {
        return child;
    }
    // Before it runs, so that its own children are in the job, too. Where that is refused it runs
    // all the same.
    AssignProcessToJobObject(EndsWithThisProcess(), process.hProcess);
    ResumeThread(process.hThread);
    CloseHandle(process.hThread);
    child.m_handle = reinterpret_cast<std::intptr_t>(process.hProcess);
    child.m_id = process.dwProcessId;
    return child;
}

HostChild::~HostChild() {
    if (m_handle != 0) {
        Kill();
        Wait(INFINITE);
        CloseHandle(HandleOf(m_handle));
    }
}

void HostChild::AskToEnd() {}

void HostChild::Kill() {
    if (m_handle != 0 && !m_exitCode) {
        TerminateProcess(HandleOf(m_handle), kKilled);
    }
}

std::optional<int> HostChild::Wait(std::uint32_t milliseconds) {
    DWORD code = 0;
    if (m_handle != 0 && !m_exitCode &&
        WaitForSingleObject(HandleOf(m_handle), milliseconds) == WAIT_OBJECT_0 &&
        GetExitCodeProcess(HandleOf(m_handle), &code)) {
        m_exitCode = static_cast<int>(code);
    }
    return m_exitCode;
}
