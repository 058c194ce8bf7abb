# A source property applies to one folder only: repeat what the resource depends on.
set(report_rc ${PROJECT_SOURCE_DIR}/apps/quill-grab/page/report.rc)
get_property(report_files
  SOURCE ${report_rc} TARGET_DIRECTORY quill_grab_parts PROPERTY OBJECT_DEPENDS)
set_property(SOURCE ${report_rc} PROPERTY OBJECT_DEPENDS ${report_files})

quill_test(quill_grab_report_test
  SOURCES
    decode_png.cpp
    report_history_test.cpp
    report_test.cpp
    report_thumbnails_test.cpp
    tile_heat_test.cpp
  LIBRARIES quill_grab_parts quill_grab_json
  PRECOMPILED quill_grab_test)
target_compile_definitions(quill_grab_report_test
  PRIVATE QUILL_GRAB_TEST_VERSION="${PROJECT_VERSION}")
add_dependencies(quill_grab_report_test quill-wgc)

# A program without the page's resources, as in a build without Chart.js: LINK_ONLY takes the library
# from quill_grab_parts, but not the sources that come with it.
quill_test(quill_grab_no_report_test SOURCES no_report_test.cpp
  LIBRARIES $<LINK_ONLY:quill_grab_parts>)
target_include_directories(quill_grab_no_report_test
  PRIVATE ${PROJECT_SOURCE_DIR}/apps ${PROJECT_SOURCE_DIR}/include)

if(CMAKE_CROSSCOMPILING)
  add_executable(quill_grab_report_sample report_sample.cpp)
  quill_warnings(quill_grab_report_sample)
  target_link_libraries(quill_grab_report_sample PRIVATE quill_grab_parts)
  add_test(NAME quill_grab_report_page_test
    COMMAND ${PROJECT_SOURCE_DIR}/scripts/with-wine
      ${CMAKE_CURRENT_SOURCE_DIR}/report_page_test.sh $<TARGET_FILE:quill_grab_report_sample>
      ${CMAKE_CURRENT_BINARY_DIR}/report_page_test)
  set_tests_properties(quill_grab_report_page_test PROPERTIES TIMEOUT 120)
endif()
