# quill_warnings(TARGET): turns on the warnings for our own code, as errors when QUILL_WGC_WERROR is on.
# Third-party targets do not use it.
function(quill_warnings target)
  if(MSVC)
    target_compile_options(${target} PRIVATE /W4 /utf-8 $<$<BOOL:${QUILL_WGC_WERROR}>:/WX>)
  else()
    target_compile_options(${target} PRIVATE -Wall -Wextra $<$<BOOL:${QUILL_WGC_WERROR}>:-Werror>)
  endif()
endfunction()
