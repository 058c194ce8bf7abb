# cmake -D HEADER=FILE -P check_sources.cmake
# Fails if the hash of an HLSL file beside HEADER differs from the one that HEADER records. Needs no
# shader compiler.
get_filename_component(folder ${HEADER} DIRECTORY)
file(STRINGS ${HEADER} lines REGEX "^//   [0-9a-f]+  [A-Za-z]+\\.hlsl$")

set(recorded_names "")
foreach(line IN LISTS lines)
  string(REGEX MATCH "([0-9a-f]+)  (.+)$" unused "${line}")
  set(recorded ${CMAKE_MATCH_1})
  set(name ${CMAKE_MATCH_2})
  list(APPEND recorded_names ${name})
  file(SHA256 ${folder}/${name} actual)
  if(NOT actual STREQUAL recorded)
    message(SEND_ERROR "${name} has changed since its bytecode was made: "
      "run tools/regenerate-shaders")
  endif()
endforeach()

file(GLOB names RELATIVE ${folder} ${folder}/*.hlsl)
list(SORT names)
list(SORT recorded_names)
if(NOT names STREQUAL recorded_names)
  message(SEND_ERROR "HLSL files: ${names}; recorded in the header: ${recorded_names}")
endif()
