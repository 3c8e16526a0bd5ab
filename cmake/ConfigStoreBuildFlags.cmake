# Flags shared by every target of the project, carried by one interface
# target so that no translation unit is compiled without them.
add_library(configstore_build_flags INTERFACE)
target_compile_features(configstore_build_flags INTERFACE cxx_std_17)
set(CMAKE_CXX_EXTENSIONS OFF)
target_compile_options(configstore_build_flags INTERFACE
  -Wall -Wextra -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast -Wnon-virtual-dtor
  -Woverloaded-virtual)
if(CONFIGSTORE_WERROR)
  target_compile_options(configstore_build_flags INTERFACE -Werror)
endif()

# Every translation unit sees the project's rapidjson configuration (the
# assertion hook that throws instead of aborting) before anything else, so no
# file can include rapidjson without it, whatever its include order.
set(CONFIGSTORE_JSON_CONFIG_HEADER
    ${PROJECT_SOURCE_DIR}/include/configstore/json_config.h)
target_compile_options(configstore_build_flags INTERFACE
  "SHELL:-include ${CONFIGSTORE_JSON_CONFIG_HEADER}")

if(CONFIGSTORE_SANITIZE)
  set(_cs_sanitizers -fsanitize=address,undefined -fno-sanitize-recover=all
                     -fno-omit-frame-pointer)
  target_compile_options(configstore_build_flags INTERFACE ${_cs_sanitizers})
  target_link_options(configstore_build_flags INTERFACE ${_cs_sanitizers})
endif()

# The fuzz build: libFuzzer's coverage instrumentation on every translation
# unit, beside the sanitizers (CONFIGSTORE_SANITIZE is on with it); only the
# fuzz executables link libFuzzer itself.
if(CONFIGSTORE_BUILD_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    message(FATAL_ERROR "CONFIGSTORE_BUILD_FUZZ needs clang: configure with CXX=clang++")
  endif()
  target_compile_options(configstore_build_flags INTERFACE -fsanitize=fuzzer-no-link
    -fsanitize-ignorelist=${PROJECT_SOURCE_DIR}/fuzz/sanitizer_ignorelist.txt)
endif()
