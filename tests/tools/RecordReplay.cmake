# Records a vxfw command on an emulated camera, then replays it both ways: `vxfw replay` must
# call it a match, and the command again with --replay must end with the recorded exit status.
#   cmake -DTOOL=<vxfw> [-DEMULATOR=<cmd@@args>] -DNAME=<trace> -DARGS=<a@@b> [-DEXPECT_CODE=n]
#         -DWORK_DIR=<dir> -P RecordReplay.cmake
cmake_minimum_required(VERSION 3.25)
string(REPLACE "@@" ";" ARGS "${ARGS}")
string(REPLACE "@@" ";" EMULATOR "${EMULATOR}")
if(NOT DEFINED EXPECT_CODE)
  set(EXPECT_CODE 0)
endif()
function(run expect)
  execute_process(COMMAND ${EMULATOR} ${TOOL} ${ARGN} WORKING_DIRECTORY ${WORK_DIR}
    RESULT_VARIABLE code OUTPUT_VARIABLE out ERROR_VARIABLE err)
  message("$ vxfw ${ARGN}\n${out}${err}")
  if(NOT code STREQUAL expect)
    message(FATAL_ERROR "exit status ${code}, expected ${expect}")
  endif()
  set(out "${out}" PARENT_SCOPE)
endfunction()
run(${EXPECT_CODE} --record ${NAME} ${ARGS})
run(0 replay ${NAME})
# The verdict ends the output, as text or (when the command had --json) as the last JSON line.
if(NOT out MATCHES "(\nReplay: match: |\"result\":\"match\",\"state\":null,\"message\":\")the [1-9][0-9]* recorded host calls in order; the recorded callbacks, result and exit status \\(${EXPECT_CODE}\\)(\",\"exit\":0})?\n$")
  message(FATAL_ERROR "vxfw replay found no match")
endif()
run(${EXPECT_CODE} --replay ${NAME} ${ARGS})
