# vx_tool_test(NAME name ARGS a b c [CODE n] [OUTPUT regex] [REJECT regex] [STDOUT_BYTES n]
#              [JSON] [DEPENDS test...])
# runs vxfw as a process in tests/tools/work (shared by the tool tests, so one test can make a
# file another uses; order them with DEPENDS) and checks it with RunTool.cmake; JSON runs it with
# --json and checks the JSON Lines.
set(VX_TOOL_WORK ${CMAKE_CURRENT_BINARY_DIR}/tools/work)
# The cross build's emulator as one -D argument of the checker scripts (@@ for its ;).
string(REPLACE ";" "@@" vx_emulator "${CMAKE_CROSSCOMPILING_EMULATOR}")
function(vx_tool_test)
  cmake_parse_arguments(T "JSON" "NAME;CODE;OUTPUT;REJECT;STDOUT_BYTES" "ARGS;DEPENDS" ${ARGN})
  if(NOT DEFINED T_CODE)
    set(T_CODE 0)
  endif()
  string(REPLACE ";" "@@" joined "${T_ARGS}")
  set(extra)
  if(DEFINED T_OUTPUT)
    list(APPEND extra "-DEXPECT_OUTPUT=${T_OUTPUT}")
  endif()
  if(DEFINED T_REJECT)
    list(APPEND extra "-DREJECT_OUTPUT=${T_REJECT}")
  endif()
  if(T_JSON)
    list(APPEND extra -DJSON_LINES=ON)
  endif()
  if(DEFINED T_STDOUT_BYTES)
    list(APPEND extra "-DSTDOUT_BYTES=${T_STDOUT_BYTES}")
  endif()
  add_test(NAME ${T_NAME} COMMAND ${CMAKE_COMMAND} -DTOOL=$<TARGET_FILE:vxfw>
    "-DEMULATOR=${vx_emulator}" "-DARGS=${joined}" -DEXPECT_CODE=${T_CODE} ${extra}
    -DWORK_DIR=${VX_TOOL_WORK} -P ${CMAKE_CURRENT_SOURCE_DIR}/tools/RunTool.cmake)
  set_tests_properties(${T_NAME} PROPERTIES LABELS tool)
  if(T_DEPENDS)
    set_tests_properties(${T_NAME} PROPERTIES DEPENDS "${T_DEPENDS}")
  endif()
endfunction()
