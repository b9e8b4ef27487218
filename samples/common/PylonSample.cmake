# pylon_sample(TARGET NAME sources...): the conduit NAME.dll. It needs nothing of Pylon but the source
# of its type library, which a build on its own is told as -DPYLON_IDL=<path of Pylon.idl>. It takes
# MinGW-w64 (widl) or, in a Visual Studio prompt, MSVC (midl). As a part of Pylon's own build it uses
# the header made there.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)

set(sample_dir "${CMAKE_CURRENT_LIST_DIR}")

# The sources of a two-way sync, for a sample that has one.
set(PYLON_SAMPLE_TWO_WAY HistoryIndex RecordDatabase Session Text TwoWay WindowsText)
list(TRANSFORM PYLON_SAMPLE_TWO_WAY REPLACE "(.+)" "${sample_dir}/\\1.cpp")

function(pylon_sample target name)
  add_library(${target} SHARED ${ARGN}
    "${sample_dir}/Component.cpp" "${sample_dir}/dll.cpp" "${sample_dir}/component.def")
  if(EXISTS "${CMAKE_CURRENT_SOURCE_DIR}/${target}.rc")
    target_sources(${target} PRIVATE ${target}.rc)
    set_source_files_properties(${target}.rc PROPERTIES
      OBJECT_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/${target}.ico")
  endif()
  # A generator expression, so that no generator adds a folder for the configuration.
  set_target_properties(${target} PROPERTIES
    PREFIX "" OUTPUT_NAME ${name} RUNTIME_OUTPUT_DIRECTORY "$<1:${CMAKE_BINARY_DIR}>")
  target_include_directories(${target} PRIVATE "${sample_dir}" "${CMAKE_CURRENT_SOURCE_DIR}")
  target_compile_definitions(${target} PRIVATE UNICODE NOMINMAX WIN32_LEAN_AND_MEAN)
  target_link_libraries(${target} PRIVATE ole32 oleaut32 advapi32 user32)

  if(MSVC)
    target_compile_options(${target} PRIVATE /W4 /permissive- /utf-8)
  else()
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wshadow -Wconversion)
    target_link_options(${target} PRIVATE -static -Wl,--enable-stdcall-fixup $<$<CONFIG:Release>:-s>)
  endif()

  if(TARGET pylon_idl)
    target_link_libraries(${target} PRIVATE pylon_idl)
    return()
  endif()

  set(PYLON_IDL "" CACHE FILEPATH "Pylon.idl, the source of Pylon's type library")
  if(NOT EXISTS "${PYLON_IDL}")
    message(FATAL_ERROR "Pass the path of Pylon.idl as -DPYLON_IDL=.")
  endif()
  cmake_path(ABSOLUTE_PATH PYLON_IDL BASE_DIRECTORY "${CMAKE_SOURCE_DIR}")

  set(header "${CMAKE_CURRENT_BINARY_DIR}/Pylon.h")
  set(guids "${CMAKE_CURRENT_BINARY_DIR}/Pylon_i.c")
  if(MSVC)
    set(environment x64)
    if(CMAKE_SIZEOF_VOID_P EQUAL 4)
      set(environment win32)
    endif()
    add_custom_command(OUTPUT "${header}" "${guids}"
      COMMAND midl /nologo /env ${environment} /h Pylon.h /iid Pylon_i.c "${PYLON_IDL}"
      DEPENDS "${PYLON_IDL}" WORKING_DIRECTORY "${CMAKE_CURRENT_BINARY_DIR}" VERBATIM)
  else()
    string(REGEX REPLACE "-gcc.*" "-widl" widl_name "${CMAKE_C_COMPILER}")
    find_program(WIDL NAMES "${widl_name}" widl REQUIRED)
    find_path(OAIDL_DIR oaidl.idl REQUIRED NO_CMAKE_FIND_ROOT_PATH
      PATHS /usr/include/wine/wine/windows /usr/include/wine/windows)
    set(widl "${WIDL}" $<IF:$<EQUAL:${CMAKE_SIZEOF_VOID_P},8>,--win64,--win32> -I "${OAIDL_DIR}")
    add_custom_command(OUTPUT "${header}" "${guids}"
      COMMAND ${widl} -h -o Pylon.h "${PYLON_IDL}"
      COMMAND ${widl} -u -o Pylon_i.c "${PYLON_IDL}"
      DEPENDS "${PYLON_IDL}" WORKING_DIRECTORY "${CMAKE_CURRENT_BINARY_DIR}" VERBATIM)
  endif()
  target_sources(${target} PRIVATE "${header}" "${guids}")
  target_include_directories(${target} SYSTEM PRIVATE "${CMAKE_CURRENT_BINARY_DIR}")
endfunction()
