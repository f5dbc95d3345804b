# Run by cpack over the packages it has made. It gives a library's package scripts that call ldconfig; the
# trigger in the package does that already, once for all packages of an installation.
foreach(package IN LISTS CPACK_PACKAGE_FILES)
  set(tree ${CPACK_TEMPORARY_DIRECTORY}/unpacked)
  file(REMOVE_RECURSE ${tree})
  execute_process(COMMAND dpkg-deb --raw-extract ${package} ${tree} COMMAND_ERROR_IS_FATAL ANY)
  file(REMOVE ${tree}/DEBIAN/postinst ${tree}/DEBIAN/postrm)
  execute_process(COMMAND dpkg-deb --root-owner-group --build ${tree} ${package}
    OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
endforeach()
