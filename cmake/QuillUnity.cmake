# quill_unity(TARGET): compiles the target's sources of one folder as one source, which takes less than half
# of the time. So names of one folder must not clash. scripts/check reads apps/ and wine/ in the same way.
function(quill_unity target)
  get_target_property(sources ${target} SOURCES)
  list(FILTER sources INCLUDE REGEX "\\.cpp$")
  foreach(source ${sources})
    cmake_path(GET source PARENT_PATH folder)
    string(MAKE_C_IDENTIFIER "in_${folder}" group)
    set_property(SOURCE ${source} PROPERTY UNITY_GROUP ${group})
  endforeach()
  set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
endfunction()
