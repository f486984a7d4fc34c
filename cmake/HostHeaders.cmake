# In a cross build: the header-only packages of this machine, which the compiler for the other one does not
# look for where they are, and GoogleTest from its source package.
set(OMBRIX_HOST_HEADERS ${PROJECT_BINARY_DIR}/host-headers)
file(MAKE_DIRECTORY ${OMBRIX_HOST_HEADERS})
foreach(folder IN ITEMS fmt CLI nlohmann)
  if(EXISTS /usr/include/${folder})
    file(CREATE_LINK /usr/include/${folder} ${OMBRIX_HOST_HEADERS}/${folder} SYMBOLIC)
  endif()
endforeach()

foreach(target IN ITEMS fmt::fmt-header-only CLI11::CLI11 nlohmann_json::nlohmann_json)
  add_library(${target} INTERFACE IMPORTED GLOBAL)
  target_include_directories(${target} SYSTEM INTERFACE ${OMBRIX_HOST_HEADERS})
endforeach()

function(ombrix_add_googletest)
  set(INSTALL_GTEST OFF CACHE BOOL "")
  add_subdirectory(/usr/src/googletest ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
endfunction()
