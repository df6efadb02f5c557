#include "system/ErrorText.h"

#include "platform/Platform.h"

namespace {

struct ErrorText {
    DWORD code;
    const char* text;
};

constexpr ErrorText kTexts[] = {
    {ERROR_SUCCESS, "No error"},
    {ERROR_FILE_NOT_FOUND, "No such file"},
    {ERROR_PATH_NOT_FOUND, "No such folder"},
    {ERROR_TOO_MANY_OPEN_FILES, "Too many files are open"},
    {ERROR_ACCESS_DENIED, "Permission denied, or not an ordinary file"},
    {ERROR_INVALID_HANDLE, "Not an open object of this kind"},
    {ERROR_NOT_ENOUGH_MEMORY, "Out of memory"},
    {ERROR_NOT_SAME_DEVICE, "The two paths lie on different file systems"},
    {ERROR_NO_MORE_FILES, "The folder has no further entries"},
    {ERROR_WRITE_PROTECT, "The file system is read-only"},
    {ERROR_BAD_LENGTH, "A structure of the wrong size"},
    {ERROR_GEN_FAILURE, "The system reports a failure without a known meaning"},
    {ERROR_SHARING_VIOLATION, "Another program is using the file"},
    {ERROR_LOCK_VIOLATION, "The file cannot be locked"},
    {ERROR_NOT_SUPPORTED, "Not supported here"},
    {ERROR_FILE_EXISTS, "The file exists already"},
    {ERROR_INVALID_PARAMETER, "A value is out of range"},
    {ERROR_BUFFER_OVERFLOW, "The name is longer than the buffer"},
    {ERROR_DISK_FULL, "No space is left on the file system"},
    {ERROR_INSUFFICIENT_BUFFER, "The buffer is too small"},
    {ERROR_INVALID_NAME, "Not a valid file name"},
    {ERROR_MOD_NOT_FOUND, "No such module is loaded"},
    {ERROR_PROC_NOT_FOUND, "The module has no such function"},
    {ERROR_NEGATIVE_SEEK, "A position before the start of the file"},
    {ERROR_BAD_PATHNAME, "Not a valid path"},
    {ERROR_ALREADY_EXISTS, "The new name is taken already"},
    {ERROR_ENVVAR_NOT_FOUND, "No such environment variable"},
    {ERROR_FILENAME_EXCED_RANGE, "The path is too long"},
    {ERROR_FILE_TOO_LARGE, "The file is too large"},
    {ERROR_MORE_DATA, "The value is longer than the buffer"},
    {WAIT_TIMEOUT, "The time is over"},
    {ERROR_DIRECTORY, "Not a folder"},
    {ERROR_NOT_OWNER, "The mutex belongs to another thread"},
    {ERROR_TOO_MANY_POSTS, "The semaphore is at its maximum"},
    {ERROR_IO_DEVICE, "The device failed to read or write"},
    {ERROR_NOT_FOUND, "Not found"},
    {ERROR_RESOURCE_DATA_NOT_FOUND, "The file holds no version information"},
    {ERROR_CANT_RESOLVE_FILENAME, "The path has too many symbolic links"},
};

}  // namespace

std::string HostErrorText(std::uint32_t code) {
    for (const ErrorText& known : kTexts) {
        if (known.code == code) {
            return known.text;
        }
    }
    return std::string();
}
