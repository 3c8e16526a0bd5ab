# Fails when the shared library exports anything beyond its own public
# namespaces, or any of the internals that live inside those namespaces.
execute_process(COMMAND nm -D -C --defined-only ${LIBRARY}
  OUTPUT_VARIABLE symbols RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "nm failed on ${LIBRARY}")
endif()
string(REPLACE "\n" ";" lines "${symbols}")
set(bad "")
foreach(line IN LISTS lines)
  if(line STREQUAL "")
    continue()
  endif()
  if(NOT line MATCHES "OrinConfigStore::|OrinSchemaStore::|Helm::Lib::" OR
     line MATCHES "Impl|::SchemaObject|::SchemaStore::|::SchemaDefinition|ReadSchemaDefinitions|Sqlite|JsonValidator|HostPath|ConfigStoreDocument|JsonKey|FindValue|FindInstance|Base64_|UUID_|Str_V?Format")
    string(APPEND bad "  ${line}\n")
  endif()
endforeach()
if(bad)
  message(FATAL_ERROR "unexpected exported symbols:\n${bad}")
endif()
