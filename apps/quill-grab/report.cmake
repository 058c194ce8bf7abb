# The report: its sources, and the page's template, style and scripts as resources of each program
# that links quill_grab_parts.
add_library(quill_grab_json INTERFACE)
get_target_property(json_include_dir nlohmann_json::nlohmann_json INTERFACE_INCLUDE_DIRECTORIES)
list(GET json_include_dir 0 json_include_dir)
if(CMAKE_CROSSCOMPILING)
  # As with CLI11, keep the other headers of /usr/include out.
  file(MAKE_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/json)
  file(CREATE_LINK ${json_include_dir}/nlohmann ${CMAKE_CURRENT_BINARY_DIR}/json/nlohmann SYMBOLIC)
  set(json_include_dir ${CMAKE_CURRENT_BINARY_DIR}/json)
endif()
target_include_directories(quill_grab_json SYSTEM INTERFACE ${json_include_dir})

target_sources(quill_grab_parts PRIVATE
  output/report/report.cpp
  output/report/report_history.cpp
  page/report_page.cpp
  output/report/report_thumbnails.cpp
  output/report/tile_heat.cpp)
target_link_libraries(quill_grab_parts PUBLIC crypt32 PRIVATE quill_grab_json)

find_file(QUILL_GRAB_CHART_JS chart.min.js
  PATHS /usr/share/javascript/chart.js NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH
  DOC "Chart.js 3.9, UMD build: chart.min.js; without it quill-grab has no --report")
if(NOT QUILL_GRAB_CHART_JS)
  message(STATUS "quill-grab is built without --report: that needs Chart.js "
    "(Debian: libjs-chart.js; elsewhere: QUILL_GRAB_CHART_JS)")
  return()
endif()
configure_file(${QUILL_GRAB_CHART_JS} ${CMAKE_CURRENT_BINARY_DIR}/page/chart.min.js COPYONLY)

# Linkers take no resources from static libraries, so each program compiles them.
target_sources(quill_grab_parts INTERFACE ${CMAKE_CURRENT_SOURCE_DIR}/page/report.rc)
target_include_directories(quill_grab_parts INTERFACE ${CMAKE_CURRENT_BINARY_DIR}/page)
set_property(SOURCE ${CMAKE_CURRENT_SOURCE_DIR}/page/report.rc PROPERTY OBJECT_DEPENDS
  ${CMAKE_CURRENT_SOURCE_DIR}/page/report.html
  ${CMAKE_CURRENT_SOURCE_DIR}/page/report.css
  ${CMAKE_CURRENT_SOURCE_DIR}/page/report.js
  ${CMAKE_CURRENT_BINARY_DIR}/page/chart.min.js)
