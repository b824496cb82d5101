# vxfw as scripts and update systems drive it: JSON Lines from every command, dry runs that touch
# nothing, interrupts that leave the camera explained. Files come from DeviceCommandTests.cmake.
# Every line of standard output must be a JSON object, the last one the result (RunTool.cmake).
function(vx_json_test)
  vx_tool_test(${ARGN} JSON)
endfunction()

vx_json_test(NAME tool_json_update ARGS update device-l840.fw --sim l840
  OUTPUT "{\"type\":\"camera\",\"description\":\"Emulated Lumex 840[^\n]*\n{\"type\":\"progress\",\"state\":4,\"name\":\"transferring\",\"percent\":[0-9]+,\"message\":\"The boot firmware data transferring!\"}"
  DEPENDS vxfw_device_pack_firmware)
vx_json_test(NAME tool_json_update_refused CODE 3 ARGS update device-l840.fw --sim kovra-a
  OUTPUT "\"result\":\"mismatch\",\"state\":-9" DEPENDS vxfw_device_pack_firmware)
vx_json_test(NAME tool_json_dry_run ARGS update device-l840.fw --dry-run --sim l840
  OUTPUT "\"type\":\"plan\",\"writes\":.{\"what\":\"boot\",\"flash\":true,\"where\":65536,\"size\":1024"
  DEPENDS vxfw_device_pack_firmware)
vx_json_test(NAME tool_json_presets ARGS presets device-presets.bin --sim l840
  DEPENDS vxfw_device_pack_presets)
vx_json_test(NAME tool_json_customer_data ARGS customer-data write ${VX_DEVICE_DATA}/customer-data.txt --sim l945se)
vx_json_test(NAME tool_json_customer_data_read ARGS customer-data read --sim l945se
  OUTPUT "\"type\":\"data\",\"hex\":\"\"")
vx_json_test(NAME tool_json_flash ARGS flash read 0 64 -o json-flash.bin --sim l840)
# -o -: the data alone on standard output, the report for people on standard error.
vx_tool_test(NAME tool_data_to_stdout ARGS flash read 0x7F0000 16 -o - --sim l840 STDOUT_BYTES 16
  OUTPUT "Result: done \\(2\\): 16 bytes at 0x007F0000 written to standard output")
vx_json_test(NAME tool_json_usage_error CODE 2 ARGS update json-missing.fw --sim l840)
vx_json_test(NAME tool_json_bad_sim CODE 2 ARGS update device-l840.fw --sim l840,conn=USB9
  OUTPUT "unknown connection type 'USB9' \\(known: USB2.0 USB3.0 GMSL2 Ethernet\\)")
vx_json_test(NAME tool_json_sim_list ARGS sim list OUTPUT "\"selector\":\"l840-boot\"")
vx_json_test(NAME tool_json_devices ARGS devices --device-plugin $<TARGET_FILE:vxsensor_sim>)
vx_json_test(NAME tool_json_inspect ARGS inspect device-l840.fw DEPENDS vxfw_device_pack_firmware)
vx_json_test(NAME tool_json_pack ARGS pack ${VX_DEVICE_DATA}/l840-firmware.json -o json-pack.fw)

vx_tool_test(NAME tool_unknown_sim_option CODE 2 ARGS update device-l840.fw --sim l840,colour=red
  OUTPUT "unknown option 'colour=red' \\(options: conn=.*fault=.*state=FILE"
  DEPENDS vxfw_device_pack_firmware)
vx_tool_test(NAME tool_unknown_command CODE 2 ARGS updat device-l840.fw
  OUTPUT "unknown command 'updat' \\(commands: inspect, pack, update")
vx_tool_test(NAME tool_version ARGS --version OUTPUT "^vxfw [0-9]+\\.[0-9]+\\.[0-9]+ \\(libvxsensor_ext commit [0-9a-f]+\\)")
# Firmware versions: shown, and no downgrade or reinstall unless asked.
vx_tool_test(NAME tool_update_older CODE 3 ARGS update device-versioned.fw --sim l840,fw=1.9.0
  OUTPUT "Firmware: camera 1.9.0, file 1.8.2\nResult: refused: the file's firmware 1.8.2 is older than the camera's 1.9.0; nothing was written \\(--allow-older installs it\\)\nExchanges: 0"
  DEPENDS tool_pack_versioned)
vx_tool_test(NAME tool_update_older_allowed ARGS update device-versioned.fw --sim l840,fw=1.9.0 --allow-older
  OUTPUT "Result: done \\(3\\)" DEPENDS tool_pack_versioned)
vx_tool_test(NAME tool_update_same CODE 3 ARGS update device-versioned.fw --sim l840,fw=1.8.2,isp=2.1.0
  OUTPUT "the camera already runs firmware 1.8.2; nothing was written \\(--force" DEPENDS tool_pack_versioned)
# The second run after a bootloader update: the camera runs the file's main version, not its ISP
# part, so this is no reinstall.
vx_tool_test(NAME tool_update_same_isp_missing ARGS update device-versioned.fw --sim l840,fw=1.8.2,isp=2.0.0
  OUTPUT "Firmware: camera 1.8.2, file 1.8.2.*isp firmware data transferring.*Result: done \\(3\\)"
  DEPENDS tool_pack_versioned)
vx_tool_test(NAME tool_update_same_forced ARGS update device-versioned.fw --sim l840,fw=1.8.2 --force
  OUTPUT "Result: done \\(3\\)" DEPENDS tool_pack_versioned)
vx_tool_test(NAME tool_pack_versioned ARGS pack ${VX_DEVICE_DATA}/l840-versioned.json -o device-versioned.fw)
# A bootloader update only finishes the first stage: its own status, so a script reboots and
# runs it again.
vx_tool_test(NAME tool_update_first_stage CODE 7 ARGS update device-l840.fw --sim l840-boot
  OUTPUT "Result: stage done \\(7\\)" DEPENDS vxfw_device_pack_firmware)

# Dry runs: the real run's status, nothing changed, for every family and for each kind of
# refusal.
function(vx_dry_run NAME CAMERA COMMAND FILE)
  string(REPLACE ";" "@@" command "${COMMAND}")
  add_test(NAME ${NAME} COMMAND ${CMAKE_COMMAND} -DTOOL=$<TARGET_FILE:vxfw>
    "-DEMULATOR=${vx_emulator}" -DCAMERA=${CAMERA} "-DCOMMAND=${command}" -DFILE=${FILE}
    -DNAME=${NAME} -DWORK_DIR=${VX_TOOL_WORK} -P ${CMAKE_CURRENT_SOURCE_DIR}/tools/DryRun.cmake)
  set_tests_properties(${NAME} PROPERTIES LABELS tool DEPENDS
    "vxfw_device_pack_firmware;vxfw_device_pack_presets;tool_pack_l5-image;tool_pack_miromax-package;tool_pack_l5pro")
endfunction()
vx_tool_test(NAME tool_pack_l5pro ARGS pack ${VX_DEVICE_DATA}/l5pro-firmware.json -o device-l5pro.fw)
vx_dry_run(tool_dry_l840 l840 update device-l840.fw)
vx_dry_run(tool_dry_l840_boot l840-boot update device-l840.fw)
vx_dry_run(tool_dry_kovra_a_refused kovra-a update device-l840.fw)
vx_dry_run(tool_dry_l5 l5s update files-l5-image.bin)
vx_dry_run(tool_dry_l5_mismatch l5 update files-l5-image.bin)
vx_dry_run(tool_dry_l5pro l5pro update device-l5pro.fw)
vx_dry_run(tool_dry_l945se_incompatible l945se update device-l840.fw)
vx_dry_run(tool_dry_miromax ra-dk700v update files-miromax-package.bin)
vx_dry_run(tool_dry_miromax_usb ra-dk700v,conn=USB3.0 update files-miromax-package.bin)
vx_dry_run(tool_dry_openni_unsupported_kind openni update device-l840.fw)
vx_dry_run(tool_dry_unsupported_device l5 presets device-presets.bin)
vx_dry_run(tool_dry_presets l840 presets device-presets.bin)
vx_dry_run(tool_dry_presets_old_firmware kovra-a presets device-presets.bin)
vx_dry_run(tool_dry_customer_data l840 "customer-data;write" ${VX_DEVICE_DATA}/customer-data.txt)
vx_dry_run(tool_dry_customer_data_old_firmware l840,fw=1.7.15 "customer-data;write"
  ${VX_DEVICE_DATA}/customer-data.txt)

# Interrupts: after the boot component's write (exchange 3 of l840-firmware.json's update), and
# twice in a row (the second stops the step under way).
foreach(case "3;1;the camera acknowledged 1024 bytes at 0x10000\n.*Next: run the same command again to finish"
              "3;2;the camera acknowledged no complete write; the write of 1024 bytes at 0x10000 was cut short\n.*Next: run the same command again to finish")
  list(GET case 0 at)
  list(GET case 1 signals)
  list(GET case 2 expect)
  add_test(NAME tool_interrupt_${at}_${signals} COMMAND ${CMAKE_COMMAND}
    -DTOOL=$<TARGET_FILE:vxfw> "-DEMULATOR=${vx_emulator}" -DFIRMWARE=device-l840.fw -DAT=${at}
    -DSIGNALS=${signals} "-DEXPECT_OUTPUT=Result: interrupted: ${expect}"
    "-DCHECK=0x10000@@1024@@5a" -DWORK_DIR=${VX_TOOL_WORK}
    -P ${CMAKE_CURRENT_SOURCE_DIR}/tools/Interrupt.cmake)
  set_tests_properties(tool_interrupt_${at}_${signals} PROPERTIES LABELS tool
    DEPENDS vxfw_device_pack_firmware)
endforeach()

# Power cuts at every exchange of each family's update, the preset upload and the customer-data
# write, each followed by what vxfw says to do. Under qemu and the sanitizers a fixed-seed sample
# of a few cuts per operation keeps the time down.
vx_tool_test(NAME tool_pack_power_l5s ARGS pack ${VX_DEVICE_DATA}/l5s-firmware.json -o power-l5s.fw)
set(vx_power_sample 0)
if(CMAKE_CROSSCOMPILING_EMULATOR OR VXSENSOR_SANITIZE)
  set(vx_power_sample 5)
endif()
add_test(NAME tool_PowerCut_campaign COMMAND ${CMAKE_COMMAND} -DTOOL=$<TARGET_FILE:vxfw>
  "-DEMULATOR=${vx_emulator}" -DWORK_DIR=${VX_TOOL_WORK} -DDATA=${VX_DEVICE_DATA}
  -DSAMPLE=${vx_power_sample} -P ${CMAKE_CURRENT_SOURCE_DIR}/tools/PowerCut.cmake)
set_tests_properties(tool_PowerCut_campaign PROPERTIES LABELS tool TIMEOUT 1200 DEPENDS
  "vxfw_device_pack_firmware;vxfw_device_pack_presets;tool_pack_l5pro;tool_pack_miromax-package;tool_pack_power_l5s")
# A camera that comes back in its bootloader is named so, and what brings it back is said.
vx_tool_test(NAME tool_bootloader_note CODE 4 ARGS customer-data write
  ${VX_DEVICE_DATA}/customer-data.txt --sim l840-boot
  OUTPUT "Note: the camera runs its bootloader: its firmware is missing or incomplete.*vxfw update FILE")
