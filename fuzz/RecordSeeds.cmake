# Turns the device-flow prefixes into seeds: each flow's target runs its prefixes once with
# VXFUZZ_RECORD set, so the camera's answers are written after them in the slice format.
#   cmake -DPREFIXES=dir -DSEEDS=dir -DBIN_DIR=dir -P RecordSeeds.cmake
file(GLOB flows RELATIVE ${PREFIXES} ${PREFIXES}/*)
foreach(flow IN LISTS flows)
  file(GLOB inputs ${PREFIXES}/${flow}/*)
  file(MAKE_DIRECTORY ${SEEDS}/${flow})
  execute_process(
    COMMAND ${CMAKE_COMMAND} -E env VXFUZZ_RECORD=${SEEDS}/${flow} ${BIN_DIR}/fuzz_${flow} ${inputs}
    RESULT_VARIABLE result OUTPUT_QUIET ERROR_VARIABLE errors)
  file(GLOB recorded ${SEEDS}/${flow}/*)
  if(NOT result EQUAL 0 OR NOT recorded)
    message(FATAL_ERROR "recording the ${flow} seeds failed (${result}):\n${errors}")
  endif()
endforeach()
