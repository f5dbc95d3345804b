# The Debian packages, one for each component: `cpack` in a build directory configured for the prefix /usr.

# What the distribution wants in every package besides its content, each compressed without a time in it.
function(velmar_install_compressed source name destination component)
  set(compressed ${PROJECT_BINARY_DIR}/packaging/${name}.gz)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${source})
  execute_process(COMMAND gzip -9nc ${PROJECT_SOURCE_DIR}/${source} OUTPUT_FILE ${compressed}
    COMMAND_ERROR_IS_FATAL ANY)
  install(FILES ${compressed} DESTINATION ${destination} COMPONENT ${component})
endfunction()

file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/packaging)
foreach(component IN LISTS components)
  velmar_install_compressed(packaging/changelog changelog ${doc_dir}/${${component}_package} ${component})
endforeach()

# The list of what the library provides, and the loader's index afterwards without a script of ours.
file(WRITE ${PROJECT_BINARY_DIR}/packaging/shlibs
  "libvelmar_sdk ${PROJECT_VERSION_MAJOR} ${runtime_package} (>= ${PROJECT_VERSION})\n")
file(WRITE ${PROJECT_BINARY_DIR}/packaging/triggers "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA
  ${PROJECT_BINARY_DIR}/packaging/shlibs ${PROJECT_BINARY_DIR}/packaging/triggers)
set(CPACK_POST_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/WithoutScripts.cmake)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package has its own
set(CPACK_PACKAGE_CONTACT "The libvelmar_sdk developers <velmar-sdk@velmar.invalid>")
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_COMPONENTS_ALL ${components})
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS runtime)
set(CPACK_COMPONENT_TOOLS_DEPENDS runtime)
set(CPACK_COMPONENT_PYTHON_DEPENDS runtime)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/TarvoSDKClient)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "python3 (>= 3.9), python3-numpy")
set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/python/prerm)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SUGGESTS "python3-pandas, python3-matplotlib")
foreach(component IN LISTS components)
  string(TOUPPER ${component} upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${${component}_package})
endforeach()

set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "client library of a real-time motion-capture server
The library receives every captured frame as a decoded record, asks the
server what its frames contain, sends it commands, and computes the forces
on force plates.")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "client library of a motion-capture server (development files)
The headers, the files for CMake and pkg-config, examples in C and C++, and the
pages about threads, the protocol and what a frame costs.")
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "simulated motion-capture server and tools for its streams
The command velmar streams a walking figure or a recording to clients, with
seeded network faults if wanted; shows, records, replays and exports a running
stream; asks a server about itself; and finds out why no data arrives. A
dissector of the protocol for Wireshark comes with it.")
set(CPACK_DEBIAN_PYTHON_DESCRIPTION "motion-capture streams and recordings as numpy arrays (Python 3)
The package velmar receives the frames of a motion-capture server as numpy
arrays, in loops and in event loops, asks the server what they contain, and
reads recordings whole.")
include(CPack)
