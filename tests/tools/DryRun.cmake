cmake_minimum_required(VERSION 3.25)
# A dry run against an emulated camera whose state a file keeps: it must end with the exit status
# the real operation then has (a refusal's, or success), and leave the state file byte for byte
# as it found it. The state is given content first (a flash write), so an unchanged file means
# an unchanged camera.
#   cmake -DTOOL=<vxfw> [-DEMULATOR=<cmd@@args>] -DCAMERA=<model,options> -DCOMMAND=<a@@b>
#         -DFILE=<file> -DWORK_DIR=<dir> -DNAME=<name> -P DryRun.cmake
string(REPLACE "@@" ";" EMULATOR "${EMULATOR}")
string(REPLACE "@@" ";" COMMAND "${COMMAND}")
set(state ${WORK_DIR}/${NAME}.state)
file(MAKE_DIRECTORY ${WORK_DIR})
file(REMOVE ${state} ${state}.real)
file(WRITE ${WORK_DIR}/${NAME}.mark "state before the dry run")

function(run code_var out_var)
  execute_process(COMMAND ${EMULATOR} ${TOOL} ${ARGN} WORKING_DIRECTORY ${WORK_DIR}
    RESULT_VARIABLE code OUTPUT_VARIABLE out ERROR_VARIABLE err)
  message("vxfw ${ARGN}: ${code}\n${out}${err}")
  set(${code_var} ${code} PARENT_SCOPE)
  set(${out_var} "${out}${err}" PARENT_SCOPE)
endfunction()

run(code out flash write 0x300000 ${NAME}.mark --sim ${CAMERA},state=${state})
if(NOT code EQUAL 0)
  message(FATAL_ERROR "preparing the camera failed")
endif()
file(SHA256 ${state} before)
file(COPY_FILE ${state} ${state}.real)

run(dry out ${COMMAND} ${FILE} --dry-run --sim ${CAMERA},state=${state})
file(SHA256 ${state} after)
if(NOT before STREQUAL after)
  message(FATAL_ERROR "the dry run changed the camera's state")
endif()
if(NOT out MATCHES "Result: dry run: (accepted|refused)|Result: failed")
  message(FATAL_ERROR "no dry-run result")
endif()

run(real out ${COMMAND} ${FILE} --sim ${CAMERA},state=${state}.real)
if(NOT dry EQUAL real)
  message(FATAL_ERROR "the dry run ended ${dry}, the real run ${real}")
endif()
message(STATUS "${CAMERA}: dry run and real run both ended ${dry}; state unchanged")
