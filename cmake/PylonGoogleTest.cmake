# GTest::gtest_main and GTest::gmock: natively Debian's libraries; for Windows they are built from the
# sources in Debian's googletest package.

if(NOT WIN32)
  find_package(GTest REQUIRED)
  return()
endif()

find_path(GOOGLETEST_SOURCES googletest/src/gtest-all.cc
  PATHS /usr/src/googletest NO_CMAKE_FIND_ROOT_PATH)
if(NOT GOOGLETEST_SOURCES)
  message(FATAL_ERROR "GoogleTest's sources are missing: install the package googletest.")
endif()
# A cache variable: GoogleTest asks for an old CMake, whose option() clears normal variables.
set(INSTALL_GTEST OFF CACHE INTERNAL "")
add_subdirectory("${GOOGLETEST_SOURCES}" googletest EXCLUDE_FROM_ALL SYSTEM)
foreach(library gtest gtest_main gmock gmock_main)
  if(NOT TARGET GTest::${library})
    add_library(GTest::${library} ALIAS ${library})
  endif()
endforeach()
