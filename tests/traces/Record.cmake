# Records the traces of this folder again, from the emulator, when the library's requests change
# on purpose (docs/trace-format.md, "Traces as tests"):
#   cmake -DVXFW=build/native/tools/vxfw -P tests/traces/Record.cmake
# The files each command needs are packed from files/ first; commands run in a scratch folder
# with relative names, so a trace holds no path of this machine.
cmake_minimum_required(VERSION 3.25)
set(traces l840-update l5-update l5pro-update miromax-update l840-presets
  l945se-customer-data-write openni-customer-data-read l840-flash-write l840-flash-read
  l840-update-faults)
set(l840-update update l840-firmware.fw --sim l840)
set(l5-update update l5-image.fw --sim l5s)
set(l5pro-update update l5pro-firmware.fw --sim l5pro)
set(miromax-update update miromax-package.fw --sim ra-dk700v)
set(l840-presets presets l840-presets.fw --sim l840)
set(l945se-customer-data-write customer-data write customer-data.txt --sim l945se)
set(openni-customer-data-read customer-data read --sim openni)
set(l840-flash-write flash write 0x200000 customer-data.txt --sim l840)
set(l840-flash-read flash read 0x200000 64 -o flash.bin --sim l840)
# A transport error, a busy camera and a stale answer along the way; the update still succeeds.
set(l840-update-faults update l840-firmware.fw
  --sim l840,fault=ERASE_FLASH@1:transport,fault=WRITE_FLASH@2:busy,fault=READ_FLASH@1:stale-id)

set(here ${CMAKE_CURRENT_LIST_DIR})
# The commands run elsewhere, so a VXFW relative to where this was started is made absolute.
get_filename_component(VXFW "${VXFW}" ABSOLUTE BASE_DIR "${CMAKE_CURRENT_BINARY_DIR}")
set(work ${CMAKE_CURRENT_BINARY_DIR}/record-traces)
file(REMOVE_RECURSE ${work})
file(MAKE_DIRECTORY ${work})
file(COPY ${here}/files/customer-data.txt DESTINATION ${work})
foreach(kind l840-firmware l5pro-firmware l5-image miromax-package l840-presets)
  execute_process(COMMAND ${VXFW} pack ${here}/files/${kind}.json -o ${kind}.fw
    WORKING_DIRECTORY ${work} RESULT_VARIABLE code ERROR_VARIABLE err OUTPUT_QUIET)
  if(NOT code EQUAL 0)
    message(FATAL_ERROR "${VXFW} pack ${kind}: ${code}\n${err}")
  endif()
endforeach()
foreach(name IN LISTS traces)
  execute_process(COMMAND ${VXFW} --record ${name}.trace ${${name}} WORKING_DIRECTORY ${work}
    RESULT_VARIABLE code OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT EXISTS ${work}/${name}.trace)
    message(FATAL_ERROR "${name}: no trace (exit ${code}):\n${out}${err}")
  endif()
  file(COPY ${work}/${name}.trace DESTINATION ${here})
  file(SIZE ${here}/${name}.trace size)
  message(STATUS "${name}.trace: exit ${code}, ${size} bytes")
endforeach()
file(REMOVE_RECURSE ${work})
