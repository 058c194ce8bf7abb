# quill_warnings(TARGET): the warnings that our own code is held to, and errors when
# QUILL_WGC_WERROR is on. Kept apart from third-party targets.
function(quill_warnings target)
  if(MSVC)
    target_compile_options(${target} PRIVATE /W4 /utf-8 $<$<BOOL:${QUILL_WGC_WERROR}>:/WX>)
  else()
    target_compile_options(${target} PRIVATE -Wall -Wextra $<$<BOOL:${QUILL_WGC_WERROR}>:-Werror>)
  endif()
endfunction()
