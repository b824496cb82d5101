# Runs vxfw as a process and checks its exit status and output.
#   cmake -DTOOL=<vxfw> [-DEMULATOR=<cmd;args>] -DARGS=<a;b;c> [-DEXPECT_CODE=0]
#         [-DEXPECT_OUTPUT=<regex>] [-DREJECT_OUTPUT=<regex>] [-DSTDOUT_BYTES=<n>]
#         [-DJSON_LINES=ON] [-DWORK_DIR=<dir>] -P RunTool.cmake
# STDOUT_BYTES: standard output alone holds exactly n bytes (data, with the report elsewhere).
# JSON_LINES: vxfw runs with --json, and what a script relies on is checked: every line of
# standard output is one JSON object with a "type", the last one is the result, and its "exit" is
# the exit status. The output regexes then apply to standard output alone.
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
if(JSON_LINES)
  list(APPEND ARGS --json)
endif()
execute_process(COMMAND ${EMULATOR} ${TOOL} ${ARGS} WORKING_DIRECTORY ${WORK_DIR}
  RESULT_VARIABLE code OUTPUT_VARIABLE out ERROR_VARIABLE err)
set(all "${out}${err}")
message("${all}")
if(NOT code STREQUAL EXPECT_CODE)
  message(FATAL_ERROR "exit status ${code}, expected ${EXPECT_CODE}")
endif()

if(JSON_LINES)
  set(all "${out}")
  string(REGEX REPLACE "\n$" "" lines "${out}")
  string(REPLACE ";" "\\;" lines "${lines}")
  string(REPLACE "\n" ";" lines "${lines}")
  set(type "")
  foreach(line IN LISTS lines)
    string(JSON type ERROR_VARIABLE bad GET "${line}" type)
    if(bad)
      message(FATAL_ERROR "not a JSON object with a type: ${line}")
    endif()
    set(last "${line}")
  endforeach()
  if(NOT type STREQUAL "result")
    message(FATAL_ERROR "the last line is no result: ${last}")
  endif()
  string(JSON exit GET "${last}" exit)
  if(NOT exit STREQUAL code)
    message(FATAL_ERROR "the result says exit ${exit}, the process ended ${code}")
  endif()
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
