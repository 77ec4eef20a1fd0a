# The Python package (python/): built when pybind11 and the headers of the
# Python it is for are found, unless LORN_PYTHON=OFF. That Python is
# Python3_EXECUTABLE: /usr/bin/python3 by default where it exists (Debian's,
# which pybind11-dev, python3-dev and python3-pytest serve; set in the main
# CMakeLists.txt before the first search for Python), else the first python3
# on the path.
set(LORN_PYTHON_FOUND OFF)
find_package(Python3 COMPONENTS Interpreter Development.Module QUIET)
if(Python3_Development.Module_FOUND)
  find_package(pybind11 CONFIG QUIET)
  set(LORN_PYTHON_FOUND ${pybind11_FOUND})
endif()
option(LORN_PYTHON "Build the Python package" ${LORN_PYTHON_FOUND})
if(LORN_PYTHON)
  find_package(pybind11 CONFIG REQUIRED)
  add_subdirectory(python)
endif()
