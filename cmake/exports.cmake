# The exported interface of liblorn.so.
#
# The annotations of the headers decide what is visible (LORN_API, and the
# hidden default of the library's compilation); a linker version script made
# from the two lists below keeps anything else out of the dynamic symbol
# table as well, such as the instantiations of the standard library's
# templates. The test check_exports holds the built library and its object
# files against the same lists.
#
#   cmake/exports.txt            the library's own entries by number, exact names
#   cmake/platform_exports.txt   the platform's classes that cross the boundary

set(LORN_EXPORTS_LIST ${CMAKE_CURRENT_SOURCE_DIR}/cmake/exports.txt)
set(LORN_PLATFORM_EXPORTS_LIST ${CMAKE_CURRENT_SOURCE_DIR}/cmake/platform_exports.txt)
set(LORN_VERSION_SCRIPT ${CMAKE_CURRENT_BINARY_DIR}/lorn.map)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
  ${LORN_EXPORTS_LIST} ${LORN_PLATFORM_EXPORTS_LIST})

# The entries of a list file: its lines but comments and empty ones.
function(lorn_export_lines list_file out_var)
  file(STRINGS ${list_file} lines)
  set(result "")
  foreach(line IN LISTS lines)
    string(STRIP "${line}" line)
    if(NOT line STREQUAL "" AND NOT line MATCHES "^#")
      list(APPEND result "${line}")
    endif()
  endforeach()
  set(${out_var} "${result}" PARENT_SCOPE)
endfunction()

lorn_export_lines(${LORN_EXPORTS_LIST} lorn_numbered_entries)
# Each entry of the library's list starts with its number, "-" or "ext".
set(lorn_own_entries "")
foreach(line IN LISTS lorn_numbered_entries)
  string(REGEX MATCH "^[^ ]+ +(.*)$" tagged "${line}")
  list(APPEND lorn_own_entries "${CMAKE_MATCH_1}")
endforeach()
lorn_export_lines(${LORN_PLATFORM_EXPORTS_LIST} lorn_platform_patterns)
set(lorn_map "# Made by cmake/exports.cmake from cmake/exports.txt and\n")
string(APPEND lorn_map "# cmake/platform_exports.txt.\n{\n  global:\n    extern \"C++\" {\n")
foreach(entry IN LISTS lorn_own_entries)
  # The library's entries are exact names: quoted, they match themselves only.
  string(APPEND lorn_map "      \"${entry}\";\n")
endforeach()
foreach(pattern IN LISTS lorn_platform_patterns)
  string(APPEND lorn_map "      ${pattern};\n")
endforeach()
string(APPEND lorn_map "    };\n  local:\n    *;\n};\n")
file(CONFIGURE OUTPUT ${LORN_VERSION_SCRIPT} CONTENT "${lorn_map}" @ONLY)

target_link_options(lorn PRIVATE "LINKER:--version-script=${LORN_VERSION_SCRIPT}")
set_property(TARGET lorn APPEND PROPERTY LINK_DEPENDS ${LORN_VERSION_SCRIPT})

if(LORN_BUILD_TESTS)
  enable_testing()
  find_package(Python3 COMPONENTS Interpreter)
  if(Python3_Interpreter_FOUND)
    add_test(NAME check_exports
      COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/cmake/check_exports.py
              --library $<TARGET_FILE:lorn>
              --exports ${LORN_EXPORTS_LIST}
              --platform ${LORN_PLATFORM_EXPORTS_LIST}
              $<TARGET_OBJECTS:lorn_objects>
      COMMAND_EXPAND_LISTS)
  else()
    message(WARNING "No Python interpreter: the test check_exports is left out")
  endif()
endif()
