# quill_exports_header(TARGET): gives TARGET the header quill_wgc_exports.h, where
# QUILL_WGC_EXPORTS(X) stands for X(name) once for each name in src/api/libquill_wgc.def.
function(quill_exports_header target)
  set(def ${PROJECT_SOURCE_DIR}/src/api/libquill_wgc.def)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${def})
  file(STRINGS ${def} names REGEX "^ +[a-z]")
  list(TRANSFORM names REPLACE "^ +([a-z0-9_]+)$" "X(\\1)")
  list(JOIN names " " names)
  file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/exports/quill_wgc_exports.h
    CONTENT "#define QUILL_WGC_EXPORTS(X) @names@\n" @ONLY)
  target_include_directories(${target} PUBLIC ${PROJECT_BINARY_DIR}/exports)
endfunction()
