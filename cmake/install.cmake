# What `cmake --install` lays out, by GNUInstallDirs. Nothing of it knows the prefix: it can be moved as a whole.
include(CMakePackageConfigHelpers)

# The library, its headers and how to find them.
install(TARGETS ombrix EXPORT OmbrixTargets)
install(DIRECTORY include/ombrix ${OMBRIX_GENERATED_INCLUDES}/ombrix DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
set(OMBRIX_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Ombrix)
install(EXPORT OmbrixTargets NAMESPACE Ombrix:: DESTINATION ${OMBRIX_CMAKE_DIR})
configure_package_config_file(cmake/OmbrixConfig.cmake.in ${PROJECT_BINARY_DIR}/cmake/OmbrixConfig.cmake
  INSTALL_DESTINATION ${OMBRIX_CMAKE_DIR})
# As far as the soname reaches.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/cmake/OmbrixConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/cmake/OmbrixConfig.cmake ${PROJECT_BINARY_DIR}/cmake/OmbrixConfigVersion.cmake
  DESTINATION ${OMBRIX_CMAKE_DIR})

# DIRECTORY as ombrix.pc has to name it: below the prefix, or as it is when somebody chose an absolute one.
function(ombrix_pc_directory variable directory)
  if(IS_ABSOLUTE ${directory})
    set(${variable} ${directory} PARENT_SCOPE)
  else()
    set(${variable} "\${prefix}/${directory}" PARENT_SCOPE)
  endif()
endfunction()
ombrix_pc_directory(OMBRIX_PC_LIBDIR ${CMAKE_INSTALL_LIBDIR})
ombrix_pc_directory(OMBRIX_PC_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR})
ombrix_pc_directory(OMBRIX_PC_DATADIR ${CMAKE_INSTALL_DATADIR})
file(RELATIVE_PATH OMBRIX_PREFIX_FROM_PC ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/ombrix.pc.in ${PROJECT_BINARY_DIR}/cmake/ombrix.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/cmake/ombrix.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# Data, and what helps to use it.
install(DIRECTORY data/fonts data/scenes DESTINATION ${CMAKE_INSTALL_DATADIR}/ombrix)
install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES README.md CHANGELOG.md SECURITY.md LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})
if(OMBRIX_BUILD_TOOLS)
  install(FILES packaging/completion/ombrix DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
  include(cmake/manPages.cmake)
endif()
if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
  set(OMBRIX_UDEV_RULES_DIR lib/udev/rules.d CACHE STRING "Where the udev rule goes; empty: not installed")
  if(OMBRIX_UDEV_RULES_DIR)
    install(FILES data/udev/70-ombrix.rules DESTINATION ${OMBRIX_UDEV_RULES_DIR})
  endif()
endif()
