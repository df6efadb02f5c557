// The Windows functions, flags and codes that the library calls, as declared for POSIX systems.
//
// CONTRACT.md says per function what is honoured. Failures set the calling thread's last error.
#pragma once

#include <cstddef>
#include <cstdint>

#include "fenwickel/Types.h"

struct OVERLAPPED;
using UINT = unsigned int;
using SIZE_T = std::size_t;
// Errors of the registry functions, which return them instead of setting the last error.
using LSTATUS = LONG;
union LARGE_INTEGER {
    LONGLONG QuadPart;
};

inline constexpr BOOL FALSE = 0;
inline constexpr BOOL TRUE = 1;
inline const HANDLE INVALID_HANDLE_VALUE = reinterpret_cast<HANDLE>(std::intptr_t{-1});

inline constexpr DWORD ERROR_SUCCESS = 0;
inline constexpr DWORD ERROR_FILE_NOT_FOUND = 2;
inline constexpr DWORD ERROR_PATH_NOT_FOUND = 3;
inline constexpr DWORD ERROR_TOO_MANY_OPEN_FILES = 4;
inline constexpr DWORD ERROR_ACCESS_DENIED = 5;
inline constexpr DWORD ERROR_INVALID_HANDLE = 6;
inline constexpr DWORD ERROR_NOT_ENOUGH_MEMORY = 8;
inline constexpr DWORD ERROR_NOT_SAME_DEVICE = 17;
inline constexpr DWORD ERROR_NO_MORE_FILES = 18;
inline constexpr DWORD ERROR_WRITE_PROTECT = 19;
inline constexpr DWORD ERROR_BAD_LENGTH = 24;
inline constexpr DWORD ERROR_GEN_FAILURE = 31;
inline constexpr DWORD ERROR_SHARING_VIOLATION = 32;
inline constexpr DWORD ERROR_LOCK_VIOLATION = 33;
inline constexpr DWORD ERROR_NOT_SUPPORTED = 50;
inline constexpr DWORD ERROR_FILE_EXISTS = 80;
inline constexpr DWORD ERROR_INVALID_PARAMETER = 87;
inline constexpr DWORD ERROR_BUFFER_OVERFLOW = 111;
inline constexpr DWORD ERROR_DISK_FULL = 112;
inline constexpr DWORD ERROR_INSUFFICIENT_BUFFER = 122;
inline constexpr DWORD ERROR_INVALID_NAME = 123;
inline constexpr DWORD ERROR_MOD_NOT_FOUND = 126;
inline constexpr DWORD ERROR_PROC_NOT_FOUND = 127;
inline constexpr DWORD ERROR_NEGATIVE_SEEK = 131;
inline constexpr DWORD ERROR_BAD_PATHNAME = 161;
inline constexpr DWORD ERROR_ALREADY_EXISTS = 183;
inline constexpr DWORD ERROR_ENVVAR_NOT_FOUND = 203;
inline constexpr DWORD ERROR_FILENAME_EXCED_RANGE = 206;
inline constexpr DWORD ERROR_MORE_DATA = 234;
inline constexpr DWORD ERROR_FILE_TOO_LARGE = 223;
inline constexpr DWORD ERROR_DIRECTORY = 267;
inline constexpr DWORD ERROR_NOT_OWNER = 288;
inline constexpr DWORD ERROR_TOO_MANY_POSTS = 298;
inline constexpr DWORD ERROR_INVALID_ADDRESS = 487;
inline constexpr DWORD ERROR_BADKEY = 1010;
inline constexpr DWORD ERROR_NO_UNICODE_TRANSLATION = 1113;
inline constexpr DWORD ERROR_IO_DEVICE = 1117;
inline constexpr DWORD ERROR_NOT_FOUND = 1168;
inline constexpr DWORD ERROR_RESOURCE_DATA_NOT_FOUND = 1812;
inline constexpr DWORD ERROR_CANT_RESOLVE_FILENAME = 1921;

DWORD GetLastError();
void SetLastError(DWORD code);

// Who may open what is created. A descriptor whose access list is present and null lets every
// account in; without attributes an object belongs to its creator's account alone, a file gets the
// mode that the umask leaves.
inline constexpr DWORD SECURITY_DESCRIPTOR_REVISION = 1;
struct ACL;
struct SECURITY_DESCRIPTOR {
    BOOL daclPresent;
    ACL* dacl;
};
struct SECURITY_ATTRIBUTES {
    DWORD nLength;
    void* lpSecurityDescriptor;
    BOOL bInheritHandle;  // must be FALSE
};
BOOL InitializeSecurityDescriptor(void* descriptor, DWORD revision);
// dacl must be null: there are no access lists here.
BOOL SetSecurityDescriptorDacl(void* descriptor, BOOL present, ACL* dacl, BOOL defaulted);

// Files.
inline constexpr DWORD GENERIC_READ = 0x80000000U;
inline constexpr DWORD GENERIC_WRITE = 0x40000000U;
inline constexpr DWORD FILE_APPEND_DATA = 4;
inline constexpr DWORD FILE_SHARE_READ = 1;
inline constexpr DWORD FILE_SHARE_WRITE = 2;
inline constexpr DWORD FILE_SHARE_DELETE = 4;
inline constexpr DWORD CREATE_NEW = 1;
inline constexpr DWORD OPEN_EXISTING = 3;
inline constexpr DWORD OPEN_ALWAYS = 4;
inline constexpr DWORD FILE_BEGIN = 0;
inline constexpr DWORD FILE_END = 2;
inline constexpr DWORD MOVEFILE_REPLACE_EXISTING = 1;
inline constexpr DWORD MOVEFILE_WRITE_THROUGH = 8;
inline constexpr DWORD FILE_ATTRIBUTE_READONLY = 0x1;
inline constexpr DWORD FILE_ATTRIBUTE_DIRECTORY = 0x10;
inline constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x80;
inline constexpr DWORD FILE_ATTRIBUTE_REPARSE_POINT = 0x400;
inline constexpr DWORD FILE_FLAG_SEQUENTIAL_SCAN = 0x08000000;
inline constexpr DWORD INVALID_FILE_ATTRIBUTES = 0xFFFFFFFFU;
enum GET_FILEEX_INFO_LEVELS { GetFileExInfoStandard };
struct WIN32_FILE_ATTRIBUTE_DATA {
    DWORD dwFileAttributes;
    FILETIME ftCreationTime;
    FILETIME ftLastAccessTime;
    FILETIME ftLastWriteTime;
    DWORD nFileSizeHigh;
    DWORD nFileSizeLow;
};

HANDLE CreateFileW(const WCHAR* path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security,
                   DWORD disposition, DWORD attributes, HANDLE templateFile);
BOOL GetFileSizeEx(HANDLE file, LARGE_INTEGER* size);
enum FILE_INFO_BY_HANDLE_CLASS { FileStandardInfo = 1 };
struct FILE_STANDARD_INFO {
    LARGE_INTEGER AllocationSize;
    LARGE_INTEGER EndOfFile;
    DWORD NumberOfLinks;
    BYTE DeletePending;
    BYTE Directory;
};
BOOL GetFileInformationByHandleEx(HANDLE file, FILE_INFO_BY_HANDLE_CLASS kind, void* data,
                                  DWORD byteCount);
BOOL ReadFile(HANDLE file, void* buffer, DWORD byteCount, DWORD* bytesRead, OVERLAPPED* overlapped);
BOOL WriteFile(HANDLE file, const void* buffer, DWORD byteCount, DWORD* bytesWritten,
               OVERLAPPED* overlapped);
BOOL SetFilePointerEx(HANDLE file, LARGE_INTEGER distance, LARGE_INTEGER* position, DWORD method);
BOOL SetEndOfFile(HANDLE file);
BOOL FlushFileBuffers(HANDLE file);
BOOL CloseHandle(HANDLE handle);
BOOL DeleteFileW(const WCHAR* path);
BOOL MoveFileExW(const WCHAR* oldPath, const WCHAR* newPath, DWORD flags);
BOOL PathFileExistsW(const WCHAR* path);
BOOL GetFileAttributesExW(const WCHAR* path, GET_FILEEX_INFO_LEVELS level, void* data);
BOOL CreateDirectoryW(const WCHAR* path, SECURITY_ATTRIBUTES* security);

// Directory search.
HANDLE FindFirstFileW(const WCHAR* pattern, WIN32_FIND_DATAW* data);
BOOL FindNextFileW(HANDLE search, WIN32_FIND_DATAW* data);
BOOL FindClose(HANDLE search);

// Volumes: mounted file systems.
using UINT = unsigned int;
inline constexpr UINT DRIVE_UNKNOWN = 0;
inline constexpr UINT DRIVE_NO_ROOT_DIR = 1;
inline constexpr UINT DRIVE_REMOVABLE = 2;
inline constexpr UINT DRIVE_FIXED = 3;
inline constexpr UINT DRIVE_REMOTE = 4;
inline constexpr UINT DRIVE_CDROM = 5;
inline constexpr UINT DRIVE_RAMDISK = 6;
BOOL GetVolumePathNameW(const WCHAR* path, WCHAR* volumePath, DWORD capacity);
UINT GetDriveTypeW(const WCHAR* rootPath);
BOOL GetVolumeNameForVolumeMountPointW(const WCHAR* mountPoint, WCHAR* name, DWORD capacity);

// Waiting.
inline constexpr DWORD INFINITE = 0xFFFFFFFFU;
inline constexpr DWORD WAIT_OBJECT_0 = 0;
inline constexpr DWORD WAIT_ABANDONED = 0x80;
inline constexpr DWORD WAIT_TIMEOUT = 258;
inline constexpr DWORD WAIT_FAILED = 0xFFFFFFFFU;

HANDLE CreateSemaphoreW(SECURITY_ATTRIBUTES* security, LONG initialCount, LONG maximumCount,
                        const WCHAR* name);
BOOL ReleaseSemaphore(HANDLE semaphore, LONG releaseCount, LONG* previousCount);
HANDLE CreateMutexW(SECURITY_ATTRIBUTES* security, BOOL initialOwner, const WCHAR* name);
BOOL ReleaseMutex(HANDLE mutex);
HANDLE CreateEventW(SECURITY_ATTRIBUTES* security, BOOL manualReset, BOOL initialState,
                    const WCHAR* name);
BOOL SetEvent(HANDLE event);
BOOL ResetEvent(HANDLE event);
DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds);

// Objects with names in "Global\\" and "Local\\": they exist as long as some process holds a
// handle.
inline constexpr DWORD SYNCHRONIZE = 0x00100000U;
inline constexpr DWORD EVENT_MODIFY_STATE = 2;
inline constexpr DWORD EVENT_ALL_ACCESS = 0x001F0003U;
inline constexpr DWORD MUTEX_ALL_ACCESS = 0x001F0001U;
inline constexpr DWORD PAGE_READWRITE = 4;
inline constexpr DWORD FILE_MAP_WRITE = 2;
inline constexpr DWORD FILE_MAP_READ = 4;
inline constexpr DWORD FILE_MAP_ALL_ACCESS = 0x000F001FU;
HANDLE OpenMutexW(DWORD access, BOOL inherit, const WCHAR* name);
HANDLE OpenEventW(DWORD access, BOOL inherit, const WCHAR* name);
HANDLE CreateFileMappingW(HANDLE file, SECURITY_ATTRIBUTES* security, DWORD protection,
                          DWORD sizeHigh, DWORD sizeLow, const WCHAR* name);
HANDLE OpenFileMappingW(DWORD access, BOOL inherit, const WCHAR* name);
void* MapViewOfFile(HANDLE mapping, DWORD access, DWORD offsetHigh, DWORD offsetLow, SIZE_T bytes);
BOOL UnmapViewOfFile(const void* view);

// The registry, read from a text file.
struct RegistryKey;
using HKEY = RegistryKey*;
using REGSAM = DWORD;
inline const HKEY HKEY_LOCAL_MACHINE = reinterpret_cast<HKEY>(std::intptr_t{0x80000002});
inline constexpr REGSAM KEY_READ = 0x20019;
inline constexpr REGSAM KEY_WOW64_64KEY = 0x0100;
LSTATUS RegOpenKeyExW(HKEY parent, const WCHAR* subKey, DWORD options, REGSAM access, HKEY* key);
LSTATUS RegQueryValueExW(HKEY key, const WCHAR* name, DWORD* reserved, DWORD* type, BYTE* data,
                         DWORD* byteCount);
LSTATUS RegCloseKey(HKEY key);

// Modules: the executable and the shared libraries of the process.
struct LoadedModule;
using HMODULE = LoadedModule*;
using FARPROC = std::intptr_t (*)();
struct MEMORY_BASIC_INFORMATION {
    void* BaseAddress;
    void* AllocationBase;
};
SIZE_T VirtualQuery(const void* address, MEMORY_BASIC_INFORMATION* information, SIZE_T byteCount);
DWORD GetModuleFileNameW(HMODULE module, WCHAR* buffer, DWORD size);
HMODULE GetModuleHandleW(const WCHAR* name);
HMODULE GetModuleHandleA(const char* name);
FARPROC GetProcAddress(HMODULE module, const char* name);

// Version information of a module's file.
struct VS_FIXEDFILEINFO {
    DWORD dwSignature;
    DWORD dwStrucVersion;
    DWORD dwFileVersionMS;
    DWORD dwFileVersionLS;
    DWORD dwProductVersionMS;
    DWORD dwProductVersionLS;
    DWORD dwFileFlagsMask;
    DWORD dwFileFlags;
    DWORD dwFileOS;
    DWORD dwFileType;
    DWORD dwFileSubtype;
    DWORD dwFileDateMS;
    DWORD dwFileDateLS;
};
DWORD GetFileVersionInfoSizeW(const WCHAR* path, DWORD* ignored);
BOOL GetFileVersionInfoW(const WCHAR* path, DWORD ignored, DWORD byteCount, void* data);
BOOL VerQueryValueW(const void* data, const WCHAR* subBlock, void** value, UINT* length);

// The machine.
inline constexpr WORD PROCESSOR_ARCHITECTURE_INTEL = 0;
inline constexpr WORD PROCESSOR_ARCHITECTURE_IA64 = 6;
inline constexpr WORD PROCESSOR_ARCHITECTURE_AMD64 = 9;
inline constexpr WORD PROCESSOR_ARCHITECTURE_ARM64 = 12;
struct SYSTEM_INFO {
    WORD wProcessorArchitecture;
    WORD wReserved;
    DWORD dwPageSize;
    DWORD dwNumberOfProcessors;
};
struct OSVERSIONINFOW {
    DWORD dwOSVersionInfoSize;
    DWORD dwMajorVersion;
    DWORD dwMinorVersion;
    DWORD dwBuildNumber;
    DWORD dwPlatformId;
    WCHAR szCSDVersion[128];
};
struct OSVERSIONINFOEXW {
    DWORD dwOSVersionInfoSize;
    DWORD dwMajorVersion;
    DWORD dwMinorVersion;
    DWORD dwBuildNumber;
    DWORD dwPlatformId;
    WCHAR szCSDVersion[128];
    WORD wServicePackMajor;
    WORD wServicePackMinor;
    WORD wSuiteMask;
    BYTE wProductType;
    BYTE wReserved;
};
struct SYSTEMTIME {
    WORD wYear;
    WORD wMonth;
    WORD wDayOfWeek;
    WORD wDay;
    WORD wHour;
    WORD wMinute;
    WORD wSecond;
    WORD wMilliseconds;
};
void GetSystemInfo(SYSTEM_INFO* information);
void GetNativeSystemInfo(SYSTEM_INFO* information);
BOOL GetVersionExW(OSVERSIONINFOW* version);
BOOL GetComputerNameW(WCHAR* buffer, DWORD* size);
void GetLocalTime(SYSTEMTIME* time);

// Text in the system's ANSI code page, which is UTF-8 here.
inline constexpr UINT CP_ACP = 0;
int MultiByteToWideChar(UINT codePage, DWORD flags, const char* text, int byteCount, WCHAR* buffer,
                        int capacity);
int WideCharToMultiByte(UINT codePage, DWORD flags, const WCHAR* text, int unitCount, char* buffer,
                        int capacity, const char* defaultChar, BOOL* usedDefaultChar);

// Identifiers of RFC 4122.
struct GUID {
    DWORD Data1;
    WORD Data2;
    WORD Data3;
    BYTE Data4[8];
};
using UUID = GUID;
using RPC_STATUS = LONG;
RPC_STATUS UuidCreate(UUID* identifier);

// The process.
DWORD GetCurrentThreadId();
DWORD GetEnvironmentVariableW(const WCHAR* name, WCHAR* buffer, DWORD size);
BOOL SetEnvironmentVariableW(const WCHAR* name, const WCHAR* value);
DWORD GetCurrentProcessId();
// A constant that stands for the calling process; not to be closed.
inline HANDLE GetCurrentProcess() {
    return INVALID_HANDLE_VALUE;
}
