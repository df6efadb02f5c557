// The Windows functions, flags and codes that the library calls, as declared for POSIX systems.
//
// CONTRACT.md says per function what is honoured. Failures set the calling thread's last error.
#pragma once

#include <cstdint>

#include "fenwickel/Types.h"

struct OVERLAPPED;
struct SECURITY_ATTRIBUTES;
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
inline constexpr DWORD ERROR_GEN_FAILURE = 31;
inline constexpr DWORD ERROR_SHARING_VIOLATION = 32;
inline constexpr DWORD ERROR_LOCK_VIOLATION = 33;
inline constexpr DWORD ERROR_NOT_SUPPORTED = 50;
inline constexpr DWORD ERROR_FILE_EXISTS = 80;
inline constexpr DWORD ERROR_INVALID_PARAMETER = 87;
inline constexpr DWORD ERROR_DISK_FULL = 112;
inline constexpr DWORD ERROR_INSUFFICIENT_BUFFER = 122;
inline constexpr DWORD ERROR_INVALID_NAME = 123;
inline constexpr DWORD ERROR_NEGATIVE_SEEK = 131;
inline constexpr DWORD ERROR_ALREADY_EXISTS = 183;
inline constexpr DWORD ERROR_ENVVAR_NOT_FOUND = 203;
inline constexpr DWORD ERROR_FILENAME_EXCED_RANGE = 206;
inline constexpr DWORD ERROR_FILE_TOO_LARGE = 223;
inline constexpr DWORD ERROR_DIRECTORY = 267;
inline constexpr DWORD ERROR_NOT_OWNER = 288;
inline constexpr DWORD ERROR_TOO_MANY_POSTS = 298;
inline constexpr DWORD ERROR_IO_DEVICE = 1117;
inline constexpr DWORD ERROR_CANT_RESOLVE_FILENAME = 1921;

DWORD GetLastError();
void SetLastError(DWORD code);

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
inline constexpr DWORD MOVEFILE_WRITE_THROUGH = 8;
inline constexpr DWORD FILE_ATTRIBUTE_READONLY = 0x1;
inline constexpr DWORD FILE_ATTRIBUTE_DIRECTORY = 0x10;
inline constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x80;
inline constexpr DWORD FILE_ATTRIBUTE_REPARSE_POINT = 0x400;

HANDLE CreateFileW(const WCHAR* path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security,
                   DWORD disposition, DWORD attributes, HANDLE templateFile);
BOOL GetFileSizeEx(HANDLE file, LARGE_INTEGER* size);
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

// Directory search.
HANDLE FindFirstFileW(const WCHAR* pattern, WIN32_FIND_DATAW* data);
BOOL FindNextFileW(HANDLE search, WIN32_FIND_DATAW* data);
BOOL FindClose(HANDLE search);

// Waiting.
inline constexpr DWORD INFINITE = 0xFFFFFFFFU;
inline constexpr DWORD WAIT_OBJECT_0 = 0;
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

// The process.
DWORD GetEnvironmentVariableW(const WCHAR* name, WCHAR* buffer, DWORD size);
BOOL SetEnvironmentVariableW(const WCHAR* name, const WCHAR* value);
DWORD GetCurrentProcessId();
