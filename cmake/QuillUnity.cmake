# quill_unity(TARGET): compiles the target's sources of one folder as one source, which takes less than half
# of the time. scripts/check reads them in the same way, so names of one folder do not clash.
function(quill_unity target)
  get_target_property(sources ${target} SOURCES)
  foreach(source ${sources})
    cmake_path(GET source PARENT_PATH folder)
    string(REPLACE / _ group "in_${folder}")
    set_property(SOURCE ${source} PROPERTY UNITY_GROUP ${group})
  endforeach()
  set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
endfunction()
