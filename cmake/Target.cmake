# What depends on the target system: which platform folder is built, sanitizers, cross dependencies.
if(WIN32)
  set(FENWICKEL_PLATFORM windows)
  # Header-only libraries of the build machine, each linked in by itself: its include folder as a
  # whole belongs to another system.
  set(FENWICKEL_HOST_HEADERS ${CMAKE_BINARY_DIR}/host-headers)
  file(MAKE_DIRECTORY ${FENWICKEL_HOST_HEADERS})
  foreach(folder CLI nlohmann)
    file(CREATE_LINK /usr/include/${folder} ${FENWICKEL_HOST_HEADERS}/${folder} SYMBOLIC)
  endforeach()
  add_compile_definitions(UNICODE _UNICODE _WIN32_WINNT=0x0A00)
  # The library exchanges standard-library objects with its host: both use one shared runtime, and
  # its DLLs lie beside the programs.
  foreach(runtime libstdc++-6 libgcc_s_seh-1 libwinpthread-1)
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${runtime}.dll
      OUTPUT_VARIABLE RUNTIME_DLL OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
    file(REAL_PATH ${RUNTIME_DLL} RUNTIME_DLL)
    file(COPY ${RUNTIME_DLL} DESTINATION ${CMAKE_BINARY_DIR})
    install(FILES ${RUNTIME_DLL} TYPE BIN)
  endforeach()
else()
  set(FENWICKEL_PLATFORM posix)
endif()

if(FENWICKEL_SANITIZE)
  add_compile_options(-fsanitize=${FENWICKEL_SANITIZE} -fno-sanitize-recover=all
                      -fno-omit-frame-pointer -g1)
  if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
    # With the checks compiled in, GCC 12 takes members of std::regex for uninitialised.
    add_compile_options(-Wno-maybe-uninitialized)
  endif()
  add_link_options(-fsanitize=${FENWICKEL_SANITIZE})
endif()
