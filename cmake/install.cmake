# Installation: the shared and the static library, the public headers under
# include/lorn/ with their relative paths (a host compiles with
# -I<prefix>/include/lorn and includes "lorn.h"), a CMake package (a host
# writes find_package(lorn) and links lorn::lorn, or lorn::lorn_static) and a
# pkg-config file, lorn.pc.

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# lorn.h and every header that it reaches in a host. Nothing else is
# installed; the test check_public_headers compiles lorn.h against these
# alone.
set(LORN_PUBLIC_HEADERS
  lorn.h
  frame/compare_fn.h
  frame/lorn_defs.h
  frame/monitor.h
  frame/settings.h
  frame/sort_arrays.h
  index/file_blocks.h
  platform/carchive.h
  platform/cfile.h
  platform/cobject.h
  platform/collections.h
  platform/cstring.h
  platform/exceptions.h
  platform/lorn_export.h
  platform/types.h
  query/query_std.h
  query/result_std.h
  query/set_std.h
  table/cat_std.h)
set(LORN_INSTALL_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/lorn)
set(LORN_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/lorn)

foreach(header IN LISTS LORN_PUBLIC_HEADERS)
  get_filename_component(header_dir ${header} DIRECTORY)
  install(FILES ${header} DESTINATION ${LORN_INSTALL_INCLUDEDIR}/${header_dir})
endforeach()

# Hosts compile the headers as C++20; the static library's file is
# liblorn.a beside liblorn.so.
target_compile_features(lorn PUBLIC cxx_std_20)
target_compile_features(lorn_static PUBLIC cxx_std_20)
set_target_properties(lorn_static PROPERTIES OUTPUT_NAME lorn EXPORT_NAME lorn_static)

install(TARGETS lorn lorn_static EXPORT lornTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${LORN_INSTALL_INCLUDEDIR})
install(EXPORT lornTargets NAMESPACE lorn:: DESTINATION ${LORN_INSTALL_CMAKEDIR})

configure_package_config_file(cmake/lornConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/lornConfig.cmake
  INSTALL_DESTINATION ${LORN_INSTALL_CMAKEDIR})
# Before 1.0 a minor version may change the interface.
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/lornConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/lornConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/lornConfigVersion.cmake
  DESTINATION ${LORN_INSTALL_CMAKEDIR})

# lorn.pc finds its prefix from its own place, so that an installation can be
# moved (or made with cmake --install --prefix).
file(RELATIVE_PATH LORN_PC_PREFIX_FROM_PCDIR
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" LORN_PC_PREFIX_FROM_PCDIR "${LORN_PC_PREFIX_FROM_PCDIR}")
file(RELATIVE_PATH LORN_PC_LIBDIR ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_LIBDIR})
file(RELATIVE_PATH LORN_PC_INCLUDEDIR ${CMAKE_INSTALL_PREFIX}
  ${CMAKE_INSTALL_FULL_INCLUDEDIR}/lorn)
configure_file(cmake/lorn.pc.in ${CMAKE_CURRENT_BINARY_DIR}/lorn.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/lorn.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

if(LORN_BUILD_TESTS)
  enable_testing()
  list(JOIN LORN_PUBLIC_HEADERS "|" lorn_public_headers_arg)
  add_test(NAME check_public_headers
    COMMAND ${CMAKE_COMMAND}
            -DCOMPILER=${CMAKE_CXX_COMPILER}
            -DSOURCE_DIR=${CMAKE_CURRENT_SOURCE_DIR}
            -DHEADERS=${lorn_public_headers_arg}
            -DCHECK_SOURCE=${CMAKE_CURRENT_SOURCE_DIR}/cmake/public_headers_check.cc
            -DWORK_DIR=${CMAKE_CURRENT_BINARY_DIR}/public_headers_check
            -P ${CMAKE_CURRENT_SOURCE_DIR}/cmake/check_public_headers.cmake)
endif()
