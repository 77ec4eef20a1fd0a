# Compiles CHECK_SOURCE against a copy of the public headers alone, as a host
# sees them after installation: lorn.h must build from these headers only,
# without the library's internal definitions, and warning-free.
#
#   cmake -DCOMPILER=c++ -DSOURCE_DIR=<tree> -DHEADERS="lorn.h|frame/..."
#         -DCHECK_SOURCE=<file.cc> -DWORK_DIR=<scratch dir> -P check_public_headers.cmake
foreach(var COMPILER SOURCE_DIR HEADERS CHECK_SOURCE WORK_DIR)
  if(NOT DEFINED ${var})
    message(FATAL_ERROR "check_public_headers: ${var} is not set")
  endif()
endforeach()

file(REMOVE_RECURSE ${WORK_DIR})
string(REPLACE "|" ";" header_list "${HEADERS}")
foreach(header IN LISTS header_list)
  get_filename_component(header_dir ${header} DIRECTORY)
  file(COPY ${SOURCE_DIR}/${header} DESTINATION ${WORK_DIR}/include/lorn/${header_dir})
endforeach()

execute_process(
  COMMAND ${COMPILER} -std=c++20 -fsyntax-only -Wall -Wextra -Wpedantic -Werror
          -I${WORK_DIR}/include/lorn ${CHECK_SOURCE}
  RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "lorn.h does not build from the public headers alone, "
                      "or it declares something of the library's inside")
endif()
