// The platform types that appear in Fenwickel's public classes.
//
// On Windows they are the system's own. Elsewhere this header declares types of the same names and
// widths, so that the classes and the bytes they store are the same on both systems.
#pragma once

#include <cstdint>
#include <string>

#ifdef _WIN32

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

// A wide (UTF-16) literal.
#define WIDE(text) L##text

#ifdef FENWICKEL_BUILDING_LIBRARY
#define FENWICKEL_API __declspec(dllexport)
#elif defined(FENWICKEL_STATIC)
#define FENWICKEL_API
#else
#define FENWICKEL_API __declspec(dllimport)
#endif

// The shadow-copy wrapper is a separate library.
#ifdef VSSWRAPPER_BUILDING_LIBRARY
#define VSSWRAPPER_API __declspec(dllexport)
#elif defined(VSSWRAPPER_STATIC)
#define VSSWRAPPER_API
#else
#define VSSWRAPPER_API __declspec(dllimport)
#endif

#else

#define VSSWRAPPER_API __attribute__((visibility("default")))
#define FENWICKEL_API __attribute__((visibility("default")))

// A wide (UTF-16) literal.
#define WIDE(text) u##text

// One UTF-16 code unit.
using WCHAR = char16_t;
using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using LONG = std::int32_t;
using LONGLONG = std::int64_t;
using BOOL = int;
// An open object of the platform layer; owned by the caller of the function that made it.
using HANDLE = void*;

// 100-ns units since 1601-01-01 00:00 UTC, in two halves.
struct FILETIME {
    DWORD dwLowDateTime;
    DWORD dwHighDateTime;
};

inline constexpr DWORD MAX_PATH = 260;

// One entry of a directory search.
struct WIN32_FIND_DATAW {
    DWORD dwFileAttributes;
    FILETIME ftCreationTime;
    FILETIME ftLastAccessTime;
    FILETIME ftLastWriteTime;
    DWORD nFileSizeHigh;
    DWORD nFileSizeLow;
    DWORD dwReserved0;
    DWORD dwReserved1;
    WCHAR cFileName[MAX_PATH];
    WCHAR cAlternateFileName[14];
};

#endif

// A UTF-16 string. Paths in it have '\' between their components.
using WString = std::basic_string<WCHAR>;
