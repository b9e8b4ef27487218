# pylon_program(<sources> [DEPENDS <folders>]): Pylon.exe in the root of the build tree, with
# version, icon, manifest and type library as resources. Its entry point is wWinMain.
function(pylon_program)
  cmake_parse_arguments(PARSE_ARGV 0 arg "" "" "DEPENDS")
  set(resources "${CMAKE_SOURCE_DIR}/resources")
  add_executable(Pylon WIN32 ${arg_UNPARSED_ARGUMENTS} "${resources}/pylon.rc")
  set_source_files_properties("${resources}/pylon.rc" PROPERTIES OBJECT_DEPENDS
    "${resources}/pylon.ico;${resources}/strings.rc;${CMAKE_SOURCE_DIR}/src/setup/Strings.h;${resources}/pylon.manifest;${PYLON_GENERATED_DIR}/version.h;${PYLON_TYPELIB};${PYLON_TYPELIB_32}")
  set_target_properties(Pylon PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}")
  target_include_directories(Pylon PRIVATE "${resources}" "${PYLON_GENERATED_DIR}")
  target_link_options(Pylon PRIVATE -municode)
  add_dependencies(Pylon pylon_typelib)
  list(TRANSFORM arg_DEPENDS PREPEND pylon_)
  target_link_libraries(Pylon PRIVATE ${arg_DEPENDS} pylon_options)
endfunction()
