# The headers of the standard library and the system that most sources include, parsed once for all
# targets that are compiled with the same options. Sources still include what they use: builds with
# CMAKE_DISABLE_PRECOMPILE_HEADERS, among them those for clang, prove it.
set(FENWICKEL_STABLE_HEADERS
  <algorithm> <array> <atomic> <cerrno> <charconv> <chrono> <cstddef> <cstdint> <cstdio> <cstring>
  <memory> <mutex> <new> <optional> <string> <string_view> <thread> <utility> <vector>)
if(WIN32)
  # Types.h defines these for hosts; here they have to stand before the first <windows.h>.
  add_compile_definitions(WIN32_LEAN_AND_MEAN NOMINMAX)
  list(APPEND FENWICKEL_STABLE_HEADERS <windows.h>)
endif()

# fenwickel_precompiled(TARGET): the target, position-independent as the library, uses them.
function(fenwickel_precompiled target)
  if(NOT TARGET fenwickel_stable_headers)
    file(WRITE ${CMAKE_BINARY_DIR}/generated/StableHeaders.cpp "")
    add_library(fenwickel_stable_headers OBJECT ${CMAKE_BINARY_DIR}/generated/StableHeaders.cpp)
    target_link_libraries(fenwickel_stable_headers PRIVATE Threads::Threads)
    target_precompile_headers(fenwickel_stable_headers PRIVATE ${FENWICKEL_STABLE_HEADERS})
  endif()
  target_precompile_headers(${target} REUSE_FROM fenwickel_stable_headers)
  if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND NOT CMAKE_DISABLE_PRECOMPILE_HEADERS)
    # Inlined code of the standard library counts as ours here: GCC 12 then warns of operations on
    # strings that it accepts when it has parsed the headers itself. scripts/check-warnings builds
    # everything that ships without precompiled headers and with these warnings.
    target_compile_options(${target} PRIVATE
      -Wno-array-bounds -Wno-restrict -Wno-stringop-overflow -Wno-stringop-overread)
  endif()
endfunction()
