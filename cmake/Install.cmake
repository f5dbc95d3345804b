# What `cmake --install` puts where, in components: runtime, development, tools, python. A static library is
# development's.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(runtime_package libvelmar-sdk${PROJECT_VERSION_MAJOR})
set(development_package libvelmar-sdk-dev)
set(tools_package velmar)
set(python_package python3-velmar)
set(doc_dir ${CMAKE_INSTALL_DATAROOTDIR}/doc)
get_target_property(library_type velmar_sdk TYPE)

install(TARGETS velmar_sdk EXPORT velmar_sdk
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
  PUBLIC_HEADER DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/velmar_sdk)
install(EXPORT velmar_sdk NAMESPACE velmar:: FILE velmar_sdk-targets.cmake
  DESTINATION ${package_dir} COMPONENT development)
# What a program that links the static library needs besides: threads, and where it is not C++ itself, the runtime.
set(find_dependencies "")
if(library_type STREQUAL "STATIC_LIBRARY")
  set(find_dependencies "include(CMakeFindDependencyMacro)\nfind_dependency(Threads)\n")
endif()
set(private_libraries ${CMAKE_CXX_IMPLICIT_LINK_LIBRARIES})
list(FILTER private_libraries INCLUDE REGEX "^(m|c\\+\\+|stdc\\+\\+)$")
list(TRANSFORM private_libraries PREPEND -l)
list(JOIN private_libraries " " private_libraries)
file(CONFIGURE OUTPUT velmar_sdk-config.cmake
  CONTENT [[@find_dependencies@include(${CMAKE_CURRENT_LIST_DIR}/velmar_sdk-targets.cmake)]] @ONLY)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/velmar_sdk-config-version.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/velmar_sdk-config.cmake ${PROJECT_BINARY_DIR}/velmar_sdk-config-version.cmake
  DESTINATION ${package_dir} COMPONENT development)
# The prefix is told from where the file is, so that an installed tree can be moved.
file(RELATIVE_PATH up /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" up "${up}")
configure_file(cmake/velmar_sdk.pc.in velmar_sdk.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/velmar_sdk.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
# The pages beside the examples, as their links have them.
install(DIRECTORY docs examples DESTINATION ${doc_dir}/${development_package} COMPONENT development
  PATTERN Doxyfile EXCLUDE)

set(components development)
if(library_type STREQUAL "SHARED_LIBRARY")
  list(PREPEND components runtime)
endif()
if(VELMAR_WITH_TOOL)
  list(APPEND components tools)
  install(TARGETS velmar RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
  install(FILES extras/velmar.lua DESTINATION ${CMAKE_INSTALL_DATADIR}/velmar COMPONENT tools)
  install(DIRECTORY docs DESTINATION ${doc_dir}/${tools_package} COMPONENT tools PATTERN Doxyfile EXCLUDE)
  install(FILES extras/velmar.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
    RENAME velmar COMPONENT tools)
  include(cmake/ManPages.cmake)
  # The loader looks into /usr by itself; elsewhere the tool finds the library beside it.
  if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    file(RELATIVE_PATH to_library ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
    set_target_properties(velmar PROPERTIES INSTALL_RPATH $ORIGIN/${to_library})
  endif()
endif()
if(VELMAR_WITH_PYTHON)
  list(APPEND components python)
  set(VELMAR_PYTHON_DIR lib/python3/dist-packages CACHE STRING "Where Python packages are, below the prefix")
  set(python_build ${PROJECT_BINARY_DIR}/python)
  install(FILES ${python_sources} DESTINATION ${VELMAR_PYTHON_DIR}/velmar COMPONENT python)
  install(TARGETS velmar_take LIBRARY DESTINATION ${VELMAR_PYTHON_DIR}/velmar COMPONENT python)
  install(FILES ${python_build}/METADATA
    DESTINATION ${VELMAR_PYTHON_DIR}/velmar-${PROJECT_VERSION}.dist-info COMPONENT python)
  # As the tool: below /usr the loader finds the library, elsewhere a link stands beside the package.
  if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    set(soname libvelmar_sdk.so.${PROJECT_VERSION_MAJOR})
    file(RELATIVE_PATH to_library
      ${CMAKE_INSTALL_PREFIX}/${VELMAR_PYTHON_DIR}/velmar ${CMAKE_INSTALL_FULL_LIBDIR}/${soname})
    file(MAKE_DIRECTORY ${python_build}/installed)
    file(CREATE_LINK ${to_library} ${python_build}/installed/${soname} SYMBOLIC)
    install(FILES ${python_build}/installed/${soname} DESTINATION ${VELMAR_PYTHON_DIR}/velmar COMPONENT python)
  endif()
  install(DIRECTORY docs DESTINATION ${doc_dir}/${python_package} COMPONENT python PATTERN Doxyfile EXCLUDE)
  file(GLOB python_examples CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/python/examples/*.py)
  install(FILES ${python_examples} DESTINATION ${doc_dir}/${python_package}/examples COMPONENT python)
endif()
foreach(component IN LISTS components)
  install(FILES packaging/copyright DESTINATION ${doc_dir}/${${component}_package} COMPONENT ${component})
endforeach()

find_program(VELMAR_DPKG_DEB dpkg-deb)
if(VELMAR_DPKG_DEB AND library_type STREQUAL "SHARED_LIBRARY")
  include(cmake/Packages.cmake)
endif()
