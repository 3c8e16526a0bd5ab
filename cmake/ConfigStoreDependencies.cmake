# Debian packages the library builds against. Each is located so that a
# missing package fails at configure time with the package's name.
function(configstore_require_header header package)
  find_path(_cs_found_${package} ${header})
  if(NOT _cs_found_${package})
    message(FATAL_ERROR "${header} not found (Debian package ${package})")
  endif()
endfunction()

configstore_require_header(rapidjson/document.h rapidjson-dev)
configstore_require_header(uuid/uuid.h uuid-dev)
configstore_require_header(valijson/validator.hpp libvalijson-dev)
configstore_require_header(sqlite3.h libsqlite3-dev)
configstore_require_header(boost/format.hpp libboost-dev)

find_library(CONFIGSTORE_SQLITE_LIBRARY sqlite3)
if(NOT CONFIGSTORE_SQLITE_LIBRARY)
  message(FATAL_ERROR "libsqlite3 not found (Debian package libsqlite3-dev)")
endif()

find_library(CONFIGSTORE_UUID_LIBRARY uuid)
if(NOT CONFIGSTORE_UUID_LIBRARY)
  message(FATAL_ERROR "libuuid not found (Debian package uuid-dev)")
endif()

find_package(Threads REQUIRED)

if(CONFIGSTORE_BUILD_TESTS)
  find_package(GTest REQUIRED)
endif()
if(CONFIGSTORE_BUILD_BENCH)
  find_package(benchmark REQUIRED)
endif()
