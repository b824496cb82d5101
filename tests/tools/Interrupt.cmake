cmake_minimum_required(VERSION 3.25)
# An update interrupted at exchange AT (the emulator raises SIGINT then, SIGNALS times) ends with
# status 8 and says what the camera acknowledged; the state file then holds exactly that: the
# range named as acknowledged reads back as the file's data. Running the update again finishes it.
#   cmake -DTOOL=<vxfw> [-DEMULATOR=<cmd@@args>] -DFIRMWARE=<container> -DAT=n -DSIGNALS=n
#         -DEXPECT_OUTPUT=<regex> -DCHECK=<address@@size@@byte> -DWORK_DIR=<dir> -P Interrupt.cmake
string(REPLACE "@@" ";" EMULATOR "${EMULATOR}")
string(REPLACE "@@" ";" CHECK "${CHECK}")
set(state ${WORK_DIR}/interrupt-${AT}-${SIGNALS}.state)
file(REMOVE ${state})
execute_process(COMMAND ${EMULATOR} ${TOOL} update ${FIRMWARE}
  --sim l840,state=${state},interrupt=${AT}:${SIGNALS} WORKING_DIRECTORY ${WORK_DIR}
  RESULT_VARIABLE code OUTPUT_VARIABLE out ERROR_VARIABLE err)
message("${out}${err}")
if(NOT code EQUAL 8)
  message(FATAL_ERROR "exit status ${code}, expected 8")
endif()
if(NOT out MATCHES "${EXPECT_OUTPUT}")
  message(FATAL_ERROR "output does not match: ${EXPECT_OUTPUT}")
endif()

list(GET CHECK 0 address)
list(GET CHECK 1 size)
list(GET CHECK 2 byte)
execute_process(COMMAND ${EMULATOR} ${TOOL} flash read ${address} ${size} -o held-${AT}-${SIGNALS}.bin
  --sim l840,state=${state} WORKING_DIRECTORY ${WORK_DIR} RESULT_VARIABLE code OUTPUT_QUIET)
file(READ ${WORK_DIR}/held-${AT}-${SIGNALS}.bin held HEX)
string(REPEAT "${byte}" ${size} expected)
if(NOT code EQUAL 0 OR NOT held STREQUAL expected)
  message(FATAL_ERROR "the camera does not hold what was acknowledged at ${address}")
endif()

execute_process(COMMAND ${EMULATOR} ${TOOL} update ${FIRMWARE} --sim l840,state=${state}
  WORKING_DIRECTORY ${WORK_DIR} RESULT_VARIABLE code OUTPUT_VARIABLE out)
if(NOT code EQUAL 0 OR NOT out MATCHES "Result: done")
  message(FATAL_ERROR "running the update again did not finish it (${code}):\n${out}")
endif()
