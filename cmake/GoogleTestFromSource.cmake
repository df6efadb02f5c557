# GoogleTest as Debian's source package lays it down, built with this target's own flags.
set(GTEST_SOURCE /usr/src/googletest/googletest CACHE PATH "GoogleTest sources")
if(NOT EXISTS ${GTEST_SOURCE}/src/gtest-all.cc)
  message(FATAL_ERROR "GoogleTest sources not found in ${GTEST_SOURCE}: install googletest")
endif()
add_library(gtest STATIC ${GTEST_SOURCE}/src/gtest-all.cc)
target_include_directories(gtest SYSTEM PUBLIC ${GTEST_SOURCE}/include PRIVATE ${GTEST_SOURCE})
target_compile_options(gtest PRIVATE -w -O0 -g0)
target_link_libraries(gtest PUBLIC Threads::Threads)
