# The type library of src/automation/Pylon.idl, for the bitness of this build: pylon_typelib writes
# gen/Pylon.h, gen/Pylon_i.c and gen/Pylon.tlb; targets that link pylon_idl see the header and the
# GUIDs. gen/Pylon32.tlb is for 32-bit clients, whose marshaller can't read a 64-bit library.

set(PYLON_IDL "${CMAKE_SOURCE_DIR}/src/automation/Pylon.idl")
set(PYLON_TYPELIB "${PYLON_GENERATED_DIR}/Pylon.tlb")
set(PYLON_TYPELIB_32 "${PYLON_GENERATED_DIR}/Pylon32.tlb")

if(CMAKE_SIZEOF_VOID_P EQUAL 8)
  set(widl_flags -m64 --win64)
else()
  set(widl_flags -m32 --win32)
endif()

find_program(WIDL NAMES ${PYLON_MINGW_TRIPLE}-widl widl)
if(NOT WIDL)
  message(FATAL_ERROR "widl is missing: install the package mingw-w64-tools.")
endif()

file(GLOB oaidl_candidates
  /usr/include/wine*/windows /usr/include/wine*/wine/windows /opt/wine*/include/wine/windows)
find_path(PYLON_OAIDL_DIR oaidl.idl PATHS ${oaidl_candidates} NO_DEFAULT_PATH
  NO_CMAKE_FIND_ROOT_PATH)
if(NOT PYLON_OAIDL_DIR)
  message(FATAL_ERROR "oaidl.idl is missing: install the package libwine-dev, "
    "or pass its folder as -DPYLON_OAIDL_DIR=.")
endif()

file(GLOB stdole_candidates
  /usr/lib/*/wine/*-windows /usr/lib/wine/*-windows /usr/lib/*/wine* /opt/wine*/lib*/wine/*-windows)
find_path(PYLON_STDOLE_DIR stdole2.tlb PATHS ${stdole_candidates} NO_DEFAULT_PATH
  NO_CMAKE_FIND_ROOT_PATH)
if(NOT PYLON_STDOLE_DIR)
  message(FATAL_ERROR "stdole2.tlb is missing: install the package libwine, "
    "or pass its folder as -DPYLON_STDOLE_DIR=.")
endif()

add_custom_command(
  OUTPUT "${PYLON_TYPELIB}" "${PYLON_GENERATED_DIR}/Pylon.h" "${PYLON_GENERATED_DIR}/Pylon_i.c"
  COMMAND "${WIDL}" ${widl_flags} -I "${PYLON_OAIDL_DIR}" -h -o Pylon.h "${PYLON_IDL}"
  COMMAND "${WIDL}" ${widl_flags} -I "${PYLON_OAIDL_DIR}" -u -o Pylon_i.c "${PYLON_IDL}"
  COMMAND "${WIDL}" ${widl_flags} -I "${PYLON_OAIDL_DIR}" -L "${PYLON_STDOLE_DIR}"
    -t -o Pylon.tlb "${PYLON_IDL}"
  DEPENDS "${PYLON_IDL}"
  WORKING_DIRECTORY "${PYLON_GENERATED_DIR}"
  COMMENT "Building the type library Pylon.tlb"
  VERBATIM)
add_custom_command(
  OUTPUT "${PYLON_TYPELIB_32}"
  COMMAND "${WIDL}" -m32 --win32 -I "${PYLON_OAIDL_DIR}" -L "${PYLON_STDOLE_DIR}"
    -t -o Pylon32.tlb "${PYLON_IDL}"
  DEPENDS "${PYLON_IDL}"
  WORKING_DIRECTORY "${PYLON_GENERATED_DIR}"
  COMMENT "Building the type library Pylon32.tlb"
  VERBATIM)
add_custom_target(pylon_typelib DEPENDS
  "${PYLON_TYPELIB}" "${PYLON_TYPELIB_32}"
  "${PYLON_GENERATED_DIR}/Pylon.h" "${PYLON_GENERATED_DIR}/Pylon_i.c")

add_library(pylon_idl_guids STATIC "${PYLON_GENERATED_DIR}/Pylon_i.c")
add_dependencies(pylon_idl_guids pylon_typelib)

add_library(pylon_idl INTERFACE)
add_dependencies(pylon_idl pylon_typelib)
target_include_directories(pylon_idl SYSTEM INTERFACE "${PYLON_GENERATED_DIR}")
target_link_libraries(pylon_idl INTERFACE pylon_idl_guids)
