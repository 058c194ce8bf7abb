# The layout of an installation, and the zip of it that cpack makes.
include(CMakePackageConfigHelpers)

install(TARGETS quill-wgc RUNTIME DESTINATION bin ARCHIVE DESTINATION lib)
foreach(program quill-grab quill-check quill-view)
  if(TARGET ${program})
    install(TARGETS ${program} RUNTIME DESTINATION bin)
  endif()
endforeach()
if(MINGW)
  install(FILES $<TARGET_FILE:quill-wgc>.debug DESTINATION bin)
  # The import library in the format of Visual Studio's linker.
  find_program(QUILL_WGC_LLVM_DLLTOOL NAMES llvm-dlltool llvm-dlltool-14)
  if(QUILL_WGC_LLVM_DLLTOOL)
    set(import_library ${CMAKE_ARCHIVE_OUTPUT_DIRECTORY}/quill-wgc.lib)
    set(def ${PROJECT_SOURCE_DIR}/src/api/libquill_wgc.def)
    add_custom_command(
      OUTPUT ${import_library}
      COMMAND ${QUILL_WGC_LLVM_DLLTOOL} -m i386:x86-64 -d ${def} -D libquill-wgc.dll
              -l ${import_library}
      DEPENDS ${def})
    add_custom_target(quill_wgc_msvc_import_library ALL DEPENDS ${import_library})
    install(FILES ${import_library} DESTINATION lib)
  else()
    message(STATUS "The package lacks Visual Studio's import library: that needs llvm-dlltool "
      "(Debian: llvm)")
  endif()
else()
  install(FILES $<TARGET_PDB_FILE:quill-wgc> DESTINATION bin)
  # MinGW's linker reads this format, too; pkg-config and people look for its usual name.
  install(FILES $<TARGET_LINKER_FILE:quill-wgc> DESTINATION lib RENAME libquill-wgc.dll.a)
endif()
install(FILES include/libquill_wgc.h DESTINATION include)

# Written by hand, because one installation has import libraries for two tool chains.
configure_package_config_file(cmake/quill-wgc-config.cmake.in quill-wgc-config.cmake
  INSTALL_DESTINATION lib/cmake/quill-wgc
  NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file(quill-wgc-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/quill-wgc-config.cmake ${PROJECT_BINARY_DIR}/quill-wgc-config-version.cmake
  DESTINATION lib/cmake/quill-wgc)
configure_file(cmake/quill-wgc.pc.in quill-wgc.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/quill-wgc.pc DESTINATION lib/pkgconfig)

# The pages, and what they link to.
set(doc share/doc/quill-wgc)
install(FILES CHANGELOG.md CONTRIBUTING.md LICENSE README.md SECURITY.md DESTINATION ${doc})
install(DIRECTORY docs DESTINATION ${doc} FILES_MATCHING PATTERN *.md PATTERN *.png PATTERN *.svg)
install(FILES wine/README.md DESTINATION ${doc}/wine)
install(DIRECTORY examples DESTINATION ${doc} PATTERN CMakeLists.txt EXCLUDE)

# quill_license(NAME FILE): installs the licence of third-party code that is part of our binaries.
function(quill_license name file)
  if(EXISTS ${file})
    install(FILES ${file} DESTINATION share/licenses/${name} RENAME copyright)
  else()
    message(WARNING "The package lacks the licence of ${name}: there is no ${file}")
  endif()
endfunction()

if(MINGW)
  # The C and C++ runtimes are linked statically.
  quill_license(mingw-w64 /usr/share/doc/mingw-w64-common/copyright)
  quill_license(gcc /usr/share/doc/gcc-mingw-w64-base/copyright)
endif()
if(TARGET quill-grab)
  if(MINGW)
    quill_license(cli11 /usr/share/doc/libcli11-dev/copyright)
    quill_license(nlohmann-json /usr/share/doc/nlohmann-json3-dev/copyright)
  else()
    set(vcpkg_share ${VCPKG_INSTALLED_DIR}/${VCPKG_TARGET_TRIPLET}/share)
    quill_license(cli11 ${vcpkg_share}/cli11/copyright)
    quill_license(nlohmann-json ${vcpkg_share}/nlohmann-json/copyright)
  endif()
  if(QUILL_GRAB_CHART_JS MATCHES "^/usr/share/javascript/")
    quill_license(chart.js /usr/share/doc/libjs-chart.js/copyright)
  elseif(QUILL_GRAB_CHART_JS)
    # The npm package has the script in dist/ and its licence beside that folder.
    cmake_path(GET QUILL_GRAB_CHART_JS PARENT_PATH chart_js_folder)
    quill_license(chart.js ${chart_js_folder}/../LICENSE.md)
  endif()
endif()

set(CPACK_GENERATOR ZIP)
set(CPACK_PACKAGE_NAME libquill-wgc)
set(CPACK_PACKAGE_VENDOR "the libquill-wgc authors")
set(CPACK_PACKAGE_FILE_NAME libquill-wgc-${PROJECT_VERSION}-windows-x64)
set(CPACK_POST_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/reproducible_zip.cmake)
set(CPACK_VERBATIM_VARIABLES ON)
include(CPack)
