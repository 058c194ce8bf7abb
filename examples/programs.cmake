# minimal, texture and two_windows: complete small hosts, linked with the import library.
add_executable(minimal minimal.c)
add_executable(texture texture.cpp)
add_executable(two_windows two_windows.cpp)
# Its import library bears the DLL's number on MinGW only.
target_link_libraries(texture PRIVATE $<IF:$<BOOL:${MINGW}>,d3dcompiler_47,d3dcompiler>)
foreach(program minimal texture two_windows)
  quill_warnings(${program})
  target_link_libraries(${program} PRIVATE quill-wgc)
  if(MINGW)
    target_link_options(${program} PRIVATE -municode -s)
  endif()
endforeach()
