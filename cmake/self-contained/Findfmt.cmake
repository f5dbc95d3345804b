# The library that formats text, as fmt::fmt, without its shared library.
include(FindPackageHandleStandardArgs)
find_path(FMT_INCLUDE_DIR fmt/format.h)
mark_as_advanced(FMT_INCLUDE_DIR)
find_package_handle_standard_args(fmt REQUIRED_VARS FMT_INCLUDE_DIR)
if(FMT_FOUND AND NOT TARGET fmt::fmt)
  add_library(fmt::fmt INTERFACE IMPORTED)
  set_target_properties(fmt::fmt PROPERTIES
    INTERFACE_INCLUDE_DIRECTORIES ${FMT_INCLUDE_DIR} INTERFACE_COMPILE_DEFINITIONS FMT_HEADER_ONLY=1)
endif()
