# cpack runs this after it has packed the files. With SOURCE_DATE_EPOCH in the environment cpack gives
# all files one date, but still packs the owner's user and group IDs, and the files in the order of the
# file system. This packs the same files again, sorted and without IDs.
if(NOT DEFINED ENV{SOURCE_DATE_EPOCH})
  return()
endif()
find_program(QUILL_WGC_ZIP zip)
if(NOT QUILL_WGC_ZIP)
  message(FATAL_ERROR "SOURCE_DATE_EPOCH is set: a reproducible zip needs zip (Debian: zip)")
endif()

get_filename_component(parent ${CPACK_TEMPORARY_DIRECTORY} DIRECTORY)
file(GLOB_RECURSE files LIST_DIRECTORIES FALSE RELATIVE ${parent} ${CPACK_TEMPORARY_DIRECTORY}/*)
list(SORT files)
file(REMOVE ${CPACK_PACKAGE_FILES})
execute_process(
  COMMAND touch --date=@$ENV{SOURCE_DATE_EPOCH} -- ${files}
  WORKING_DIRECTORY ${parent}
  COMMAND_ERROR_IS_FATAL ANY)
execute_process(
  COMMAND ${CMAKE_COMMAND} -E env TZ=UTC
          ${QUILL_WGC_ZIP} -q -X ${CPACK_PACKAGE_FILES} ${files}
  WORKING_DIRECTORY ${parent}
  COMMAND_ERROR_IS_FATAL ANY)
