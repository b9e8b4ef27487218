# Compiler settings of all targets, and pylon_options, which our own targets link for the warnings.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)

find_program(CCACHE ccache)
if(CCACHE)
  set(CMAKE_C_COMPILER_LAUNCHER "${CCACHE}")
  set(CMAKE_CXX_COMPILER_LAUNCHER "${CCACHE}")
endif()

# These replace CMake's own defaults only; flags given with -D stay.
foreach(language C CXX)
  if(CMAKE_${language}_FLAGS_DEBUG STREQUAL "-g")
    # Without some optimisation the sanitized tests over every prefix of a file take minutes.
    set(CMAKE_${language}_FLAGS_DEBUG "-O1 -g")
  endif()
  if(CMAKE_${language}_FLAGS_RELEASE STREQUAL "-O3 -DNDEBUG")
    set(CMAKE_${language}_FLAGS_RELEASE "-O2 -DNDEBUG")
  endif()
endforeach()

if(PYLON_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all
    -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
  add_compile_definitions(_GLIBCXX_ASSERTIONS)
endif()
if(PYLON_FUZZERS)
  # float-cast-overflow is not part of a group, and files hold doubles.
  add_compile_options(-fsanitize=fuzzer-no-link,float-cast-overflow)
endif()

if(WIN32)
  add_compile_definitions(UNICODE _UNICODE NOMINMAX WIN32_LEAN_AND_MEAN STRICT
    WINVER=0x0A00 _WIN32_WINNT=0x0A00 NTDDI_VERSION=0x0A000000)
  add_compile_options(-ffunction-sections -fdata-sections)
  add_link_options(-Wl,--gc-sections $<$<CONFIG:Release>:-s>)
  if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    # GCC 12 merges a member and a free function with the same body, although here the member removes
    # its argument from the stack and the free function leaves that to its caller.
    add_compile_options(-fno-ipa-icf-functions)
  endif()
endif()

set(PYLON_GENERATED_DIR "${CMAKE_BINARY_DIR}/gen")
configure_file(resources/version.h.in "${PYLON_GENERATED_DIR}/version.h" @ONLY)

add_library(pylon_options INTERFACE)
target_include_directories(pylon_options INTERFACE "${CMAKE_SOURCE_DIR}/src")
target_compile_options(pylon_options INTERFACE
  -Werror -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wextra-semi
  -Wdeprecated-copy-dtor)
if(WIN32)
  # GetProcAddress returns FARPROC for every function; the cast is the interface.
  target_compile_options(pylon_options INTERFACE -Wno-cast-function-type)
  target_link_libraries(pylon_options INTERFACE
    ole32 oleaut32 uuid comctl32 shell32 shlwapi advapi32 version gdi32 user32)
else()
  # Not for Windows: it reports every interface that widl writes.
  target_compile_options(pylon_options INTERFACE -Wnon-virtual-dtor)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # GCC 12 reports libstdc++'s own string concatenation (GCC bug 105651).
  target_compile_options(pylon_options INTERFACE
    $<$<COMPILE_LANGUAGE:CXX>:-Wno-restrict>)
endif()
