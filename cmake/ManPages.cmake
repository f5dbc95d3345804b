# The man pages of the tool, made by running it: not where it is built for another machine or with sanitizers.
find_program(VELMAR_HELP2MAN help2man)
if(CMAKE_CROSSCOMPILING OR VELMAR_SANITIZE)
  return()
elseif(NOT VELMAR_HELP2MAN)
  message(STATUS "The man pages will not be made, this package is missing (Debian's name): help2man")
  return()
endif()
set(man_pages ${PROJECT_BINARY_DIR}/man)
set(make_man_pages ${PROJECT_SOURCE_DIR}/packaging/make-man-pages.sh)
add_custom_command(OUTPUT ${man_pages}/velmar.1.gz
  COMMAND ${make_man_pages} $<TARGET_FILE:velmar> ${man_pages}
  DEPENDS velmar ${make_man_pages} ${PROJECT_SOURCE_DIR}/packaging/changelog VERBATIM)
add_custom_target(velmar_man_pages ALL DEPENDS ${man_pages}/velmar.1.gz)
install(DIRECTORY ${man_pages}/ DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
