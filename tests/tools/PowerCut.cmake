cmake_minimum_required(VERSION 3.25)
# The power-cut campaign: for each operation, the camera loses its power after exchange N (every
# N, or a fixed-seed sample), and then only what vxfw says is done: its "next" step (run the same
# command again; reboot the camera, then run it again), up to MAX_RUNS runs. The camera must end
# as a clean run leaves it (same description after a reboot, same bytes where the operation
# writes), and the first success vxfw reports must already be true. A step vxfw leaves without a
# next step, or a camera still wrong after MAX_RUNS runs, is unrecoverable.
#   cmake -DTOOL=<vxfw> [-DEMULATOR=<cmd@@args>] -DWORK_DIR=<dir> -DDATA=<tools/device>
#         [-DSAMPLE=<n>] -P PowerCut.cmake
# SAMPLE 0 (the default) cuts after every exchange of an operation of up to 200, and after 200 of
# a longer one (its first and last 16 among them); SAMPLE n cuts after n exchanges of each, its
# first and last among them.
string(REPLACE "@@" ";" EMULATOR "${EMULATOR}")
set(MAX_RUNS 5)
if(NOT SAMPLE)
  set(SAMPLE 0)
endif()
set(work ${WORK_DIR}/powercut)
file(MAKE_DIRECTORY ${work})
string(REPEAT "O" 131072 openni)  # an OpenNI image has no header: any 128 KiB are one
file(WRITE ${work}/openni.bin "${openni}")

# name | camera | command | what the operation writes: flash ranges, customer data, or nothing
# beyond what the camera says of itself (the image it installed)
set(operations
  "L840 update|l840|update device-l840.fw|flash 0x10000:1024 0x100000:8192"
  "L840 update in its bootloader|l840-boot|update device-l840.fw|flash 0x10000:1024 0x100000:8192"
  "L5 update|l5s|update power-l5s.fw|flash 0:4196"
  "OpenNI update|openni|update ${work}/openni.bin|flash 0x20000:0x20000"
  "L5Pro update|l5pro|update device-l5pro.fw|"
  "L945Se update|l945se|update device-l840.fw|"
  "MiroMax update|ra-dk700v|update files-miromax-package.bin|"
  "L840 presets|l840|presets device-presets.bin|flash 0x7F0000:256"
  "customer data|l840|customer-data write ${DATA}/customer-data.txt|customer-data")

# vxfw COMMAND --json on the camera; sets <prefix>_code (checked against the result's exit),
# _next, _camera (its description) and _exchanges.
function(vx_run prefix camera)
  execute_process(COMMAND ${EMULATOR} ${TOOL} ${ARGN} --sim ${camera} --json
    WORKING_DIRECTORY ${WORK_DIR} RESULT_VARIABLE code OUTPUT_VARIABLE out ERROR_VARIABLE err)
  string(FIND "${out}" "{\"type\":\"result\"" at REVERSE)
  string(SUBSTRING "${out}" ${at} -1 result)
  string(JSON exit ERROR_VARIABLE bad GET "${result}" exit)
  string(JSON next ERROR_VARIABLE bad_next GET "${result}" next)
  string(JSON exchanges ERROR_VARIABLE bad_exchanges GET "${result}" exchanges)
  if(at LESS 0 OR bad OR bad_next OR bad_exchanges OR NOT exit STREQUAL code)
    message(FATAL_ERROR "vxfw ${ARGN} --sim ${camera}: exit ${code}, and no result of a run on "
      "the camera saying so:\n${out}${err}")
  endif()
  string(REGEX MATCH "\"description\":\"([^\"]*)\"" found "${out}")
  set(${prefix}_code ${code} PARENT_SCOPE)
  set(${prefix}_next "${next}" PARENT_SCOPE)
  set(${prefix}_camera "${CMAKE_MATCH_1}" PARENT_SCOPE)
  set(${prefix}_exchanges ${exchanges} PARENT_SCOPE)
endfunction()

# What the camera of a state file holds after a reboot: its description and a hash of each place
# the operation writes.
function(vx_holds var camera check)
  string(REPLACE " " ";" reads "${check}")
  list(POP_FRONT reads kind)
  list(TRANSFORM reads PREPEND "flash:read:")
  if(kind STREQUAL "customer-data")
    list(APPEND reads "customer-data:read")
  elseif(NOT reads)
    list(APPEND reads "flash:read:0:4")
  endif()
  set(held)
  set(reboot ",reboot")  # the first read reboots the camera
  foreach(read IN LISTS reads)
    string(REPLACE ":" ";" read "${read}")
    vx_run(r ${camera}${reboot} ${read} -o ${work}/held.bin)
    file(SHA256 ${work}/held.bin hash)
    if(reboot)
      string(APPEND held "${r_camera}:")
    endif()
    string(APPEND held " ${hash}")
    set(reboot "")
  endforeach()
  set(${var} "${held}" PARENT_SCOPE)
endfunction()

# Runs the command (with `cut` added to the camera on the first run) and follows vxfw's next
# steps until it succeeds or MAX_RUNS further runs have been made. Sets <prefix>_runs (runs after
# the first; -1 when none succeeded), _left (what vxfw said last), _first (the first run's
# exchange count) and _bootloader (whether a later run found the camera in its bootloader).
function(vx_follow prefix camera cut command)
  set(selector ${camera}${cut})
  set(bootloader 0)
  foreach(run RANGE ${MAX_RUNS})
    set(runs ${run})  # the loop's own variable ends with the loop
    vx_run(r ${selector} ${command})
    if(run EQUAL 0)
      set(${prefix}_first ${r_exchanges} PARENT_SCOPE)
    endif()
    if(run GREATER 0 AND r_camera MATCHES ", bootloader,")
      set(bootloader 1)
    endif()
    if(r_code EQUAL 0 OR r_next STREQUAL "" OR run EQUAL MAX_RUNS)
      break()
    endif()
    set(selector ${camera})
    if(r_next MATCHES "^reboot the camera")
      set(selector ${camera},reboot)
    endif()
  endforeach()
  if(NOT r_code EQUAL 0)
    set(runs -1)
  endif()
  set(${prefix}_runs ${runs} PARENT_SCOPE)
  set(${prefix}_left "exit ${r_code}, next: '${r_next}'" PARENT_SCOPE)
  set(${prefix}_bootloader ${bootloader} PARENT_SCOPE)
endfunction()

set(cuts 0)
set(unrecoverable 0)
set(untrue 0)
set(needed_0 0)
set(needed_1 0)
set(needed_2 0)
set(needed_3 0)
set(needed_more 0)
set(seed 20250501)
foreach(operation IN LISTS operations)
  string(REPLACE "|" ";" operation "${operation}")
  list(GET operation 0 name)
  list(GET operation 1 model)
  list(GET operation 2 command)
  list(GET operation 3 check)
  separate_arguments(command)
  set(state ${work}/camera.state)

  # What the operation leaves when nothing goes wrong, and that it changes the camera at all.
  file(REMOVE ${state})
  vx_holds(before ${model},state=${state} "${check}")
  vx_follow(clean ${model},state=${state} "" "${command}")
  vx_holds(wanted ${model},state=${state} "${check}")
  if(NOT clean_runs GREATER_EQUAL 0 OR wanted STREQUAL before)
    message(FATAL_ERROR "${name}: a clean run does not change the camera (${clean_left}):\n"
      "  ${before}\nthen\n  ${wanted}")
  endif()

  # The cut points: every exchange of the first run, or a fixed-seed sample.
  set(total ${clean_first})
  set(limit ${SAMPLE})
  if(limit EQUAL 0)
    set(limit 200)
  endif()
  set(points)
  if(total LESS_EQUAL limit)
    foreach(n RANGE 1 ${total})
      list(APPEND points ${n})
    endforeach()
  else()
    set(edge 16)
    if(SAMPLE GREATER 0)
      set(edge 1)
    endif()
    foreach(n RANGE 1 ${edge})
      math(EXPR last "${total} + 1 - ${n}")
      list(APPEND points ${n} ${last})
    endforeach()
    list(LENGTH points count)
    while(count LESS limit)
      math(EXPR seed "(${seed} * 1103515245 + 12345) % 2147483648")
      math(EXPR n "${seed} % ${total} + 1")
      list(APPEND points ${n})
      list(REMOVE_DUPLICATES points)
      list(LENGTH points count)
    endwhile()
    list(SORT points COMPARE NATURAL)
  endif()

  set(op_cuts 0)
  set(op_bootloader 0)
  set(op_runs "")
  foreach(n IN LISTS points)
    file(REMOVE ${state})
    vx_follow(cut ${model},state=${state} ",cut=${n}" "${command}")
    vx_holds(held ${model},state=${state} "${check}")
    math(EXPR op_cuts "${op_cuts} + 1")
    math(EXPR op_bootloader "${op_bootloader} + ${cut_bootloader}")
    if(cut_runs LESS 0)
      math(EXPR unrecoverable "${unrecoverable} + 1")
      message("${name}, cut after exchange ${n}: not recovered in ${MAX_RUNS} runs; ${cut_left}")
      continue()
    endif()
    if(NOT held STREQUAL wanted)
      # vxfw said success, and the camera does not hold what a clean run leaves.
      math(EXPR untrue "${untrue} + 1")
      message("${name}, cut after exchange ${n}: success reported after ${cut_runs} runs, but "
        "the camera holds\n  ${held}\ninstead of\n  ${wanted}")
      continue()
    endif()
    if(cut_runs GREATER 3)
      math(EXPR needed_more "${needed_more} + 1")
    else()
      math(EXPR needed_${cut_runs} "${needed_${cut_runs}} + 1")
    endif()
    list(APPEND op_runs ${cut_runs})
  endforeach()
  math(EXPR cuts "${cuts} + ${op_cuts}")
  list(REMOVE_DUPLICATES op_runs)
  list(SORT op_runs COMPARE NATURAL)
  string(REPLACE ";" ", " op_runs "${op_runs}")
  message("${name} (${model}, ${total} exchanges): ${op_cuts} cuts, recovered in ${op_runs} "
    "further runs; the camera came up in its bootloader after ${op_bootloader}")
endforeach()

message("power-cut campaign: ${cuts} cuts; further runs needed: none ${needed_0}, one "
  "${needed_1}, two ${needed_2}, three ${needed_3}, more ${needed_more}; "
  "unrecoverable: ${unrecoverable}; success reported without the image: ${untrue}")
if(unrecoverable GREATER 0 OR untrue GREATER 0 OR cuts EQUAL 0)
  message(FATAL_ERROR "the campaign found cameras the tool did not bring back")
endif()
