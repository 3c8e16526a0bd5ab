# The `tidy` target: clang-tidy with the checks of .clang-tidy over the
# project's own sources (src/, platform/, tools/) and the headers beside them,
# compiled as compile_commands.json says. Not part of `all`, and defined only
# when clang-tidy and run-clang-tidy are installed (Debian package clang-tidy).
find_program(CONFIGSTORE_CLANG_TIDY NAMES clang-tidy clang-tidy-14)
find_program(CONFIGSTORE_RUN_CLANG_TIDY NAMES run-clang-tidy run-clang-tidy-14)
if(NOT CONFIGSTORE_CLANG_TIDY OR NOT CONFIGSTORE_RUN_CLANG_TIDY)
  message(STATUS "clang-tidy not found (Debian package clang-tidy): no tidy target")
  return()
endif()

string(REGEX REPLACE "([][.+*?^$()|\\])" "\\\\\\1" _cs_tidy_root "${PROJECT_SOURCE_DIR}")
add_custom_target(tidy
  COMMAND ${CONFIGSTORE_RUN_CLANG_TIDY} -quiet
    -p ${PROJECT_BINARY_DIR}
    -clang-tidy-binary ${CONFIGSTORE_CLANG_TIDY}
    -header-filter "^${_cs_tidy_root}/(include/configstore|src|platform|tools)/"
    # Findings stay warnings even in a -Werror build.
    -extra-arg=-Wno-error
    "^${_cs_tidy_root}/(src|platform|tools)/"
  WORKING_DIRECTORY ${PROJECT_BINARY_DIR}
  COMMENT "clang-tidy over src/, platform/ and tools/"
  USES_TERMINAL
  VERBATIM)
