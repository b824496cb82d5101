# Runs vxfw as a process and checks its exit status and output.
#   cmake -DTOOL=<vxfw> [-DEMULATOR=<cmd;args>] -DARGS=<a;b;c> [-DEXPECT_CODE=0]
#         [-DEXPECT_OUTPUT=<regex>] [-DREJECT_OUTPUT=<regex>] [-DSTDOUT_BYTES=<n>]
#         [-DWORK_DIR=<dir>] -P RunTool.cmake
# STDOUT_BYTES: standard output alone holds exactly n bytes (data, with the report elsewhere).
# ARGS is a ;-list; use @@ for a literal ; inside one argument.
cmake_minimum_required(VERSION 3.25)
if(NOT DEFINED EXPECT_CODE)
  set(EXPECT_CODE 0)
endif()
if(NOT DEFINED WORK_DIR)
  set(WORK_DIR ${CMAKE_CURRENT_BINARY_DIR})
endif()
file(MAKE_DIRECTORY ${WORK_DIR})
string(REPLACE "@@" ";" ARGS "${ARGS}")
string(REPLACE "@@" ";" EMULATOR "${EMULATOR}")
execute_process(COMMAND ${EMULATOR} ${TOOL} ${ARGS} WORKING_DIRECTORY ${WORK_DIR}
  RESULT_VARIABLE code OUTPUT_VARIABLE out ERROR_VARIABLE err)
set(all "${out}${err}")
message("${all}")
if(NOT code STREQUAL EXPECT_CODE)
  message(FATAL_ERROR "exit status ${code}, expected ${EXPECT_CODE}")
endif()
if(DEFINED EXPECT_OUTPUT AND NOT all MATCHES "${EXPECT_OUTPUT}")
  message(FATAL_ERROR "output does not match: ${EXPECT_OUTPUT}")
endif()
string(LENGTH "${out}" stdout_bytes)
if(DEFINED STDOUT_BYTES AND NOT stdout_bytes EQUAL STDOUT_BYTES)
  message(FATAL_ERROR "standard output holds ${stdout_bytes} bytes, expected ${STDOUT_BYTES}")
endif()
if(DEFINED REJECT_OUTPUT AND all MATCHES "${REJECT_OUTPUT}")
  message(FATAL_ERROR "output matches what it must not: ${REJECT_OUTPUT}")
endif()
