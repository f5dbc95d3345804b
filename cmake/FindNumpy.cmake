# An interpreter for the tests of the Python package, with numpy and pytest, as Numpy::python. The first python3 in the
# path may be one without them, so the system's comes first and each is asked.
include(FindPackageHandleStandardArgs)
function(velmar_has_numpy result candidate)
  execute_process(COMMAND ${candidate} -c "import sys, numpy, pytest; sys.exit(sys.version_info < (3, 9))"
    RESULT_VARIABLE code OUTPUT_QUIET ERROR_QUIET)
  if(NOT code EQUAL 0)
    set(${result} FALSE PARENT_SCOPE)
  endif()
endfunction()
find_program(NUMPY_PYTHON_EXECUTABLE NAMES python3 python HINTS /usr/bin VALIDATOR velmar_has_numpy)
mark_as_advanced(NUMPY_PYTHON_EXECUTABLE)
find_package_handle_standard_args(Numpy REQUIRED_VARS NUMPY_PYTHON_EXECUTABLE)
if(NUMPY_FOUND AND NOT TARGET Numpy::python)
  add_executable(Numpy::python IMPORTED GLOBAL)
  set_target_properties(Numpy::python PROPERTIES IMPORTED_LOCATION ${NUMPY_PYTHON_EXECUTABLE})
endif()
