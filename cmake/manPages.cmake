# A manual page per installed tool, made of what its --help prints.
find_program(OMBRIX_HELP2MAN help2man)
if(NOT OMBRIX_HELP2MAN OR CMAKE_CROSSCOMPILING)
  message(STATUS "No manual pages: they need help2man, and programs that run here")
  return()
endif()

set(OMBRIX_MANUAL_PAGES "")
# Adds the page of the program NAME that TARGET builds.  summary: the line behind its name.
# What follows is for help2man.
macro(ombrix_add_manual_page name target summary)
  set(page ${PROJECT_BINARY_DIR}/share/man/man1/${name}.1)
  add_custom_command(OUTPUT ${page}
    COMMAND ${CMAKE_COMMAND} -E env LC_ALL=C.UTF-8 OMBRIX_PROGRAM=$<TARGET_FILE:${target}> ${OMBRIX_HELP2MAN} --no-info --manual=Ombrix "--name=${summary}" ${ARGN}
      --include=${PROJECT_SOURCE_DIR}/packaging/man/see-also.h2m
      --opt-include=${PROJECT_SOURCE_DIR}/packaging/man/${name}.h2m --output=${page}
      ${PROJECT_SOURCE_DIR}/packaging/man/tool
    DEPENDS ${target} ${PROJECT_SOURCE_DIR}/packaging/man/tool ${PROJECT_SOURCE_DIR}/packaging/man/see-also.h2m
    VERBATIM COMMENT "Writing the manual page ${name}(1)")
  list(APPEND OMBRIX_MANUAL_PAGES ${page})
endmacro()

file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/share/man/man1)
ombrix_add_manual_page(ombrix ombrix-cli "works with uncooled thermal USB cameras"
  --help-option=--help-all)
ombrix_add_manual_page(ombrix-calibration-set ombrix-calibration-set "calibration files of simulated thermal cameras")
ombrix_add_manual_page(ombrix-make-font ombrix-make-font "bitmap fonts for the overlays of thermal frames")
if(TARGET ombrix-virtual-camera)
  ombrix_add_manual_page(ombrix-virtual-camera ombrix-virtual-camera "simulated thermal cameras as USB cameras")
endif()
add_custom_target(manual_pages ALL DEPENDS ${OMBRIX_MANUAL_PAGES})
install(FILES ${OMBRIX_MANUAL_PAGES} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
