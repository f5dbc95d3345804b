# What `cmake --install` puts where, in three components: runtime, development, tools.
include(CMakePackageConfigHelpers)

set(runtime_package libvelmar-sdk${PROJECT_VERSION_MAJOR})
set(development_package libvelmar-sdk-dev)
set(tools_package velmar)
set(doc_dir ${CMAKE_INSTALL_DATAROOTDIR}/doc)

install(TARGETS velmar_sdk EXPORT velmar_sdk
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
  PUBLIC_HEADER DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)

# The library needs no other package, so the exported target is all that find_package has to give.
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/velmar_sdk)
install(EXPORT velmar_sdk NAMESPACE velmar:: FILE velmar_sdk-config.cmake
  DESTINATION ${package_dir} COMPONENT development)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/velmar_sdk-config-version.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/velmar_sdk-config-version.cmake
  DESTINATION ${package_dir} COMPONENT development)
# The prefix is told from where the file is, so that an installed tree can be moved.
file(RELATIVE_PATH up /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" up "${up}")
configure_file(cmake/velmar_sdk.pc.in velmar_sdk.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/velmar_sdk.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
install(DIRECTORY examples DESTINATION ${doc_dir}/${development_package} COMPONENT development)

set(components runtime development)
if(VELMAR_BUILD_TOOL)
  list(APPEND components tools)
  install(TARGETS velmar RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
  install(FILES extras/velmar.lua DESTINATION ${CMAKE_INSTALL_DATADIR}/velmar COMPONENT tools)
  install(FILES extras/velmar.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
    RENAME velmar COMPONENT tools)
  include(cmake/ManPages.cmake)
  # The loader looks into /usr by itself; elsewhere the tool finds the library beside it.
  if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    file(RELATIVE_PATH to_library ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
    set_target_properties(velmar PROPERTIES INSTALL_RPATH $ORIGIN/${to_library})
  endif()
endif()
