# pylon_library(<folder> [PORTABLE <sources>] [WINDOWS <sources>] [DEPENDS <folders>] [LIBS <libraries>])
#
# The static library pylon_<folder> of src/<folder>. WINDOWS sources are left out natively; a folder
# without any source in this build is an interface library. DEPENDS names lower folders, LIBS other
# targets or system libraries of the Windows build; both are passed on.
function(pylon_library folder)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "PORTABLE;WINDOWS;DEPENDS;LIBS")
  if(arg_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "pylon_library(${folder}): what is '${arg_UNPARSED_ARGUMENTS}'?")
  endif()
  set(sources ${arg_PORTABLE})
  if(WIN32)
    list(APPEND sources ${arg_WINDOWS})
  endif()

  if(sources)
    add_library(pylon_${folder} STATIC ${sources})
    set(scope PUBLIC)
  else()
    add_library(pylon_${folder} INTERFACE)
    set(scope INTERFACE)
  endif()
  target_link_libraries(pylon_${folder} ${scope} pylon_options)

  list(FIND PYLON_FOLDERS ${folder} level)
  foreach(dependency IN LISTS arg_DEPENDS)
    list(FIND PYLON_FOLDERS ${dependency} dependency_level)
    if(dependency_level EQUAL -1 OR NOT dependency_level LESS level)
      message(FATAL_ERROR "src/${folder} may not depend on '${dependency}': "
        "folders depend on lower ones only (${PYLON_FOLDERS})")
    endif()
    target_link_libraries(pylon_${folder} ${scope} pylon_${dependency})
  endforeach()
  if(WIN32)
    target_link_libraries(pylon_${folder} ${scope} ${arg_LIBS})
  endif()
endfunction()

# pylon_tests(<name> [PORTABLE <sources>] [WINDOWS <sources>] [DEPENDS <folders>] [LIBS <libraries>])
#
# The GoogleTest program <name>_tests, one entry in CTest. It runs with the build tree as its
# current folder (so Pylon.exe is there, also under Wine) and writes test-results/<name>_tests.xml.
# PYLON_HANDHELD_PDB_DIR is the folder of databases from real handhelds, which may be missing.
function(pylon_tests name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "PORTABLE;WINDOWS;DEPENDS;LIBS")
  if(arg_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "pylon_tests(${name}): what is '${arg_UNPARSED_ARGUMENTS}'?")
  endif()
  set(sources ${arg_PORTABLE})
  if(WIN32)
    list(APPEND sources ${arg_WINDOWS})
  endif()
  if(NOT sources)
    return()
  endif()

  set(target ${name}_tests)
  add_executable(${target} ${sources})
  list(TRANSFORM arg_DEPENDS PREPEND pylon_)
  target_link_libraries(${target} PRIVATE ${arg_DEPENDS} pylon_options GTest::gmock GTest::gtest_main)
  if(WIN32)
    target_link_libraries(${target} PRIVATE ${arg_LIBS})
  endif()
  target_include_directories(${target} PRIVATE "${CMAKE_SOURCE_DIR}")
  target_compile_definitions(${target} PRIVATE
    PYLON_HANDHELD_PDB_DIR="${PYLON_HANDHELD_PDB_DIR}")

  add_test(NAME ${target} COMMAND ${target} WORKING_DIRECTORY "${CMAKE_BINARY_DIR}")
  set_tests_properties(${target} PROPERTIES
    TIMEOUT 600
    ENVIRONMENT "GTEST_OUTPUT=xml:test-results/${target}.xml")
  if(WIN32)
    # All share one Wine prefix, and with it one registry and one desktop.
    set_tests_properties(${target} PROPERTIES RUN_SERIAL TRUE)
  endif()
endfunction()

# pylon_benchmark(<name> <sources> [DEPENDS <folders>]): the Google Benchmark program <name>_bench.
function(pylon_benchmark name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "DEPENDS")
  add_executable(${name}_bench ${arg_UNPARSED_ARGUMENTS})
  target_include_directories(${name}_bench PRIVATE "${CMAKE_SOURCE_DIR}")
  list(TRANSFORM arg_DEPENDS PREPEND pylon_)
  target_link_libraries(${name}_bench PRIVATE
    ${arg_DEPENDS} pylon_options benchmark::benchmark_main)
endfunction()

# pylon_fuzzer(<name> <sources> [DEPENDS <folders>]): the libFuzzer program <name>_fuzz.
function(pylon_fuzzer name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "DEPENDS")
  add_executable(${name}_fuzz ${arg_UNPARSED_ARGUMENTS})
  target_include_directories(${name}_fuzz PRIVATE "${CMAKE_SOURCE_DIR}")
  list(TRANSFORM arg_DEPENDS PREPEND pylon_)
  target_link_libraries(${name}_fuzz PRIVATE ${arg_DEPENDS} pylon_options)
  target_link_options(${name}_fuzz PRIVATE -fsanitize=fuzzer)
endfunction()
