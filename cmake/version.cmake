# ombrix/version.h: the version that `project` states, for the library, the tools and applications.
math(EXPR OMBRIX_VERSION_NUMBER
  "10000 * ${PROJECT_VERSION_MAJOR} + 100 * ${PROJECT_VERSION_MINOR} + ${PROJECT_VERSION_PATCH}")
set(OMBRIX_GENERATED_INCLUDES ${PROJECT_BINARY_DIR}/include)
configure_file(${PROJECT_SOURCE_DIR}/cmake/version.h.in ${OMBRIX_GENERATED_INCLUDES}/ombrix/version.h @ONLY)
