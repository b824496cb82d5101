# Two vxfw runs on one emulated camera whose state a file keeps between them: WRITE puts
# EXPECTED on the camera, READ fetches it into READBACK, and the two files must be equal. The
# state file is removed first, so a camera that kept nothing cannot pass.
#   cmake -DTOOL=<vxfw> [-DEMULATOR=<cmd@@args>] -DWRITE=<a@@b> -DREAD=<a@@b> -DSTATE=<file>
#         -DEXPECTED=<file> -DREADBACK=<file> -DWORK_DIR=<dir> [-DREJECT_OUTPUT=<regex>]
#         -P RoundTrip.cmake
cmake_minimum_required(VERSION 3.25)
string(REPLACE "@@" ";" EMULATOR "${EMULATOR}")
file(MAKE_DIRECTORY ${WORK_DIR})
file(REMOVE ${WORK_DIR}/${STATE} ${WORK_DIR}/${READBACK})
foreach(step WRITE READ)
  string(REPLACE "@@" ";" args "${${step}}")
  execute_process(COMMAND ${EMULATOR} ${TOOL} ${args} WORKING_DIRECTORY ${WORK_DIR}
    RESULT_VARIABLE code OUTPUT_VARIABLE out ERROR_VARIABLE err)
  set(all "${out}${err}")
  message("${all}")
  if(NOT code STREQUAL 0)
    message(FATAL_ERROR "${step}: exit status ${code}")
  endif()
  if(DEFINED REJECT_OUTPUT AND all MATCHES "${REJECT_OUTPUT}")
    message(FATAL_ERROR "${step}: output matches what it must not: ${REJECT_OUTPUT}")
  endif()
endforeach()
execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files ${EXPECTED} ${WORK_DIR}/${READBACK}
  RESULT_VARIABLE differs)
if(differs)
  message(FATAL_ERROR "${READBACK} differs from ${EXPECTED}")
endif()
