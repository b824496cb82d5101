# Process tests of vxfw update, presets, customer-data, flash and sim, on emulated cameras. The
# firmware and preset files come from vxfw pack and the manifests in tools/device.
set(VX_DEVICE_DATA ${CMAKE_CURRENT_SOURCE_DIR}/tools/device)

vx_tool_test(NAME vxfw_device_pack_firmware
  ARGS pack ${VX_DEVICE_DATA}/l840-firmware.json -o device-l840.fw)
vx_tool_test(NAME vxfw_device_pack_presets
  ARGS pack ${VX_DEVICE_DATA}/l840-presets.json -o device-presets.bin)

# In a log (ctest is no terminal) a transfer is one line per state, never redrawn in place.
vx_tool_test(NAME vxfw_device_update
  ARGS update device-l840.fw --sim l840,conn=GMSL2
  OUTPUT "main firmware data transferring!.*Result: done \\(3\\): Update successfully! Please reboot your device manually!\nExchanges: [1-9][0-9]* \\(0 failed\\).*Modelled link time: USB2.0 [0-9.]+ m?s, GMSL2 [0-9.]+ m?s, Ethernet [0-9.]+ m?s\nLibrary time: [0-9.]+ m?s \\(wall clock\\)"
  REJECT "\r|main firmware data transferring!\n[^\n]*main firmware data transferring!"
  DEPENDS vxfw_device_pack_firmware)
vx_tool_test(NAME vxfw_device_update_fault CODE 5
  ARGS update device-l840.fw --sim l840,fault=WRITE_FLASH:device-error:5
  OUTPUT "Result: transfer failed \\(-13\\): The boot firmware data transfer failed!.*Faults injected: [1-9]"
  DEPENDS vxfw_device_pack_firmware)
# A camera that installs the image itself and fails: its failure, not the transfer's.
vx_tool_test(NAME vxfw_device_update_install_failure CODE 6
  ARGS update device-l840.fw --sim l5pro,install=fail
  OUTPUT "installing .*Result: device failed \\(-2\\): Install failed"
  DEPENDS vxfw_device_pack_firmware)
# A refused file never reaches the camera.
vx_tool_test(NAME vxfw_device_update_refused CODE 3
  ARGS update device-l840.fw --sim kovra-a
  OUTPUT "Result: mismatch \\(-9\\): .*unmatched serial Lumex 840\nExchanges: 0 "
  DEPENDS vxfw_device_pack_firmware)
vx_tool_test(NAME vxfw_device_update_missing_file CODE 2
  ARGS update device-missing.fw --sim l840
  OUTPUT "cannot read device-missing.fw: No such file or directory")
vx_tool_test(NAME vxfw_device_no_device_source CODE 2
  ARGS update device-l840.fw
  OUTPUT "no camera to work on: give --device-plugin PATH")
vx_tool_test(NAME vxfw_device_bad_offset CODE 2
  ARGS flash write 0x12G device-l840.fw --sim l840
  OUTPUT "not a 32-bit number: 0x12G")

vx_tool_test(NAME vxfw_device_presets
  ARGS presets device-presets.bin --sim l840
  OUTPUT "Result: done \\(3\\): Update successfully!"
  DEPENDS vxfw_device_pack_presets)
vx_tool_test(NAME vxfw_device_presets_unsupported CODE 4
  ARGS presets device-presets.bin --sim l5
  OUTPUT "Result: unsupported device \\(-10\\)"
  DEPENDS vxfw_device_pack_presets)

vx_tool_test(NAME vxfw_device_sim_list
  ARGS sim list
  OUTPUT "l840 +Lumex 840 +3A6E:0800[^\n]*\n.*\nmiromax ")

# vx_device_round_trip(NAME STATE EXPECTED READBACK WRITE args... READ args... [REJECT regex]
#   [DEPENDS tests])
function(vx_device_round_trip NAME STATE EXPECTED READBACK)
  cmake_parse_arguments(R "" "REJECT" "WRITE;READ;DEPENDS" ${ARGN})
  string(REPLACE ";" "@@" write "${R_WRITE}")
  string(REPLACE ";" "@@" read "${R_READ}")
  set(extra)
  if(DEFINED R_REJECT)
    list(APPEND extra "-DREJECT_OUTPUT=${R_REJECT}")
  endif()
  add_test(NAME ${NAME} COMMAND ${CMAKE_COMMAND} -DTOOL=$<TARGET_FILE:vxfw>
    "-DEMULATOR=${vx_emulator}" "-DWRITE=${write}" "-DREAD=${read}" -DSTATE=${STATE}
    -DEXPECTED=${EXPECTED} -DREADBACK=${READBACK} -DWORK_DIR=${VX_TOOL_WORK} ${extra}
    -P ${VX_DEVICE_DATA}/RoundTrip.cmake)
  set_tests_properties(${NAME} PROPERTIES LABELS tool)
  if(R_DEPENDS)
    set_tests_properties(${NAME} PROPERTIES DEPENDS "${R_DEPENDS}")
  endif()
endfunction()

vx_device_round_trip(vxfw_device_customer_data_round_trip device-cd.state
  ${VX_DEVICE_DATA}/customer-data.txt device-cd.out
  WRITE customer-data write ${VX_DEVICE_DATA}/customer-data.txt --sim l945se,state=device-cd.state
  READ customer-data read -o device-cd.out --sim l945se,state=device-cd.state)
# 9536 bytes: the size of the container that l840-firmware.json describes.
vx_device_round_trip(vxfw_device_flash_round_trip device-flash.state
  ${VX_TOOL_WORK}/device-l840.fw device-flash.out
  WRITE flash write 0x200000 device-l840.fw --sim l840,conn=USB2.0,state=device-flash.state
  READ flash read 0x200000 9536 -o device-flash.out --sim l840,state=device-flash.state
  REJECT "\r|Writing flash\n[^\n]*Writing flash"
  DEPENDS vxfw_device_pack_firmware)
