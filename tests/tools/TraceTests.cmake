# Traces: every checked-in trace replays to a match with the library as it is; a recording of
# each family replays to a match; a library that asks otherwise, a damaged trace and a recorder
# preloaded into an application are caught where they should be.
set(VX_TRACES ${PROJECT_SOURCE_DIR}/tests/traces)
file(GLOB vx_checked_in_traces ${VX_TRACES}/*.trace)
foreach(trace IN LISTS vx_checked_in_traces)
  get_filename_component(name ${trace} NAME_WE)
  vx_tool_test(NAME trace_replay_${name} ARGS replay ${trace} OUTPUT "\nReplay: match: ")
endforeach()

function(vx_record_replay NAME CODE)
  string(REPLACE ";" "@@" args "${ARGN}")
  add_test(NAME trace_record_${NAME} COMMAND ${CMAKE_COMMAND} -DTOOL=$<TARGET_FILE:vxfw>
    "-DEMULATOR=${vx_emulator}" -DNAME=record-${NAME}.trace "-DARGS=${args}" -DEXPECT_CODE=${CODE}
    -DWORK_DIR=${VX_TOOL_WORK} -P ${CMAKE_CURRENT_SOURCE_DIR}/tools/RecordReplay.cmake)
  set_tests_properties(trace_record_${NAME} PROPERTIES LABELS tool DEPENDS
    "vxfw_device_pack_firmware;vxfw_device_pack_presets;tool_pack_l5-image;tool_pack_miromax-package;tool_pack_l5pro")
endfunction()
vx_record_replay(l840 0 update device-l840.fw --sim l840,conn=GMSL2)
vx_record_replay(l840_boot 7 update device-l840.fw --sim l840-boot)
vx_record_replay(l5 0 update files-l5-image.bin --sim l5s)
vx_record_replay(l5pro_install_failure 6 update device-l5pro.fw --sim l5pro,install=fail)
vx_record_replay(miromax 0 update files-miromax-package.bin --sim ra-dk700v --json)
vx_record_replay(l840_presets 0 presets device-presets.bin --sim l840,conn=USB2.0)
vx_record_replay(l945se 0 update device-l840.fw --sim l945se)
# An OpenNI image has no header: any 128 KiB are one.
string(REPEAT "O" 131072 vx_openni_image)
file(WRITE ${VX_TOOL_WORK}/trace-openni.bin "${vx_openni_image}")
vx_record_replay(openni 0 update trace-openni.bin --sim openni)
vx_record_replay(refused 3 update device-l840.fw --sim kovra-a)

# A library that sends one different request: the boot component's erase asks for 1024 bytes
# where the trace recorded 256.
vx_tool_test(NAME trace_divergent_request CODE 9
  ARGS --replay ${VX_TRACES}/l840-update.trace update device-l840.fw
  OUTPUT "Replay: diverged at entry [0-9]+ of [0-9]+\n  expected: send ERASE_FLASH\\(13\\) id=1 words=4 offset=0x10000 size=0x100, capacity 64\n            474d0400 0d000100 00000100 00010000\n  seen:     send ERASE_FLASH\\(13\\) id=1 words=4 offset=0x10000 size=0x400, capacity 64\n            474d0400 0d000100 00000100 00040000\n  first difference at byte 13.*the run diverged from trace"
  DEPENDS vxfw_device_pack_firmware)
# A trace made for another command's camera, and a trace that is none.
vx_tool_test(NAME trace_other_command CODE 9
  ARGS --replay ${VX_TRACES}/l840-flash-read.trace flash read 0x200000 32 -o trace-out.bin
  OUTPUT "expected: send READ_FLASH\\(25\\) id=1 words=3 offset=0x200000 words=0x20")
file(READ ${VX_TRACES}/l840-flash-read.trace vx_trace_text)
string(LENGTH "${vx_trace_text}" vx_trace_length)
math(EXPR vx_trace_length "${vx_trace_length} - 40")
string(SUBSTRING "${vx_trace_text}" 0 ${vx_trace_length} vx_trace_cut)
file(WRITE ${VX_TOOL_WORK}/trace-cut.trace "${vx_trace_cut}")
vx_tool_test(NAME trace_cut_short CODE 2 ARGS replay trace-cut.trace
  OUTPUT "vxfw: trace-cut.trace is cut short: line [0-9]+ has no end")
vx_tool_test(NAME trace_not_a_trace CODE 2
  ARGS --replay ${VX_TRACES}/files/l5-image.json flash read 0 16 -o trace-not.bin --json
  OUTPUT "not a trace: its first line is no vxsensor-trace header")

# The preloaded recorder around an application linked against the emulator, and its replay.
if(TARGET vxsensor_demo AND NOT VXSENSOR_SANITIZE AND NOT CMAKE_CROSSCOMPILING)
  add_test(NAME trace_preload_record COMMAND ${CMAKE_COMMAND} -E env
    LD_PRELOAD=$<TARGET_FILE:vxsensor_record> VXSENSOR_RECORD=${VX_TOOL_WORK}/preload-demo.trace
    $<TARGET_FILE:vxsensor_demo>)
  add_test(NAME trace_preload_replay
    COMMAND vxsensor_demo --replay ${VX_TOOL_WORK}/preload-demo.trace)
  set_tests_properties(trace_preload_replay PROPERTIES DEPENDS trace_preload_record
    PASS_REGULAR_EXPRESSION "\nReplay: all [1-9][0-9]* recorded host calls served in order\n")
endif()
