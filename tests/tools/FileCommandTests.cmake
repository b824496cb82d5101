# Process tests of vxfw inspect and vxfw pack. pack makes every binary in the work dir from the
# manifests in tools/files (no binaries in the repo); the inspect tests read what it made.
set(VX_FILES ${CMAKE_CURRENT_SOURCE_DIR}/tools/files)

foreach(manifest l840-container l840-presets l5-image miromax-package damaged-container)
  vx_tool_test(NAME tool_pack_${manifest} ARGS pack ${VX_FILES}/${manifest}.json -o files-${manifest}.bin
    OUTPUT "wrote files-${manifest}.bin")
endforeach()

# Round trip: inspect shows the manifest's values, computed sizes and checksums.
vx_tool_test(NAME tool_inspect_l840_container ARGS inspect files-l840-container.bin
  OUTPUT "serial: Lumex 840.*component 1: depth-engine.*version: 2\\.3\\.1.*flash address: 0x00100000.*checksum: 0x0005A000 good.*product ids: 0x0842, 0x0800.*component 2: isp.*version: 1\\.7\\.16.*flash address: 0x00500000.*data length: 73.*isp: yes.*by camera model:.*l840, l845se: accepted.*kovra-a, l815, l819x: Firmware mismatch for  : unmatched serial Lumex 840"
  DEPENDS tool_pack_l840-container)
vx_tool_test(NAME tool_inspect_presets_l5_miromax
  ARGS inspect files-l840-presets.bin files-l5-image.bin files-miromax-package.bin
  OUTPUT "product name: Lumex 800.*record 1.*flash address: 0x007E0000.*checksum: 0x00000E00 good.*record 2.*flash address: 0x007F0000.*write size: 64.*product ids: 0x0840.*preset upload .vxfw presets., by camera model:.*l840, l815, l819x: accepted.*L5 image, 327680 bytes: accepted.*product id: 0x0673.*product name: Lumex 5 S.*write address: 0x00010000.*l5s: accepted.*MiroMax package, 556 bytes: accepted.*product name: ra-dk700v.*payload size: 300.*ra-dk700v: accepted"
  REJECT "REFUSED"
  DEPENDS tool_pack_l840-presets tool_pack_l5-image tool_pack_miromax-package)
vx_tool_test(NAME tool_inspect_json
  ARGS inspect --json files-l840-container.bin files-l840-presets.bin files-l5-image.bin files-miromax-package.bin
  OUTPUT "^{\"type\":\"file\",\"path\":\"files-l840-container.bin\",[^\n]*\"accepted\":true,[^\n]*\"name\":\"depth-engine\",[^}]*\"flashAddress\":1048576,[^}]*\"checksumGood\":true[^\n]*{\"model\":\"l840\",\"accepted\":true}[^\n]*{\"model\":\"l945se\",\"accepted\":false,\"state\":-9,\"refusal\":\"Update failed!\\\\nIncompatible[^\n]*\n{\"type\":\"file\",[^\n]*\"kind\":\"l840-presets\",[^\n]*\"productName\":\"Lumex 800\"[^\n]*\"presetModels\"[^\n]*\n{[^\n]*\"kind\":\"l5-image\",[^\n]*\"writeAddress\":65536[^\n]*\n{[^\n]*\"kind\":\"miromax-package\",[^\n]*\"firmwareType\":2[^\n]*\n{\"type\":\"result\",\"result\":\"accepted\",\"files\":4,\"exit\":0}\n$"
  DEPENDS tool_pack_l840-container tool_pack_l840-presets tool_pack_l5-image tool_pack_miromax-package)

# A bad checksum is shown per component, the cut-off data too, and the refusal is the library's.
vx_tool_test(NAME tool_inspect_damaged ARGS inspect files-damaged-container.bin CODE 3
  OUTPUT "REFUSED.*component 1: boot.*checksum: 0x00000011 BAD, the data sums to 0x00000010.*component 2: main.*runs 3 bytes past the end.*refusal: Checksum mismatch!.*Invalid input file or file has been damaged"
  DEPENDS tool_pack_damaged-container)
# An unreadable file outranks a refused one (here: a manifest, of no known kind).
vx_tool_test(NAME tool_inspect_unreadable ARGS inspect ${VX_FILES}/l5-image.json files-missing.bin
  CODE 2 OUTPUT "l5-image\\.json: unknown kind.*files-missing\\.bin: cannot read")

vx_tool_test(NAME tool_pack_bad_manifest ARGS pack ${VX_FILES}/bad-manifest.json -o files-bad.bin
  CODE 2 OUTPUT "components\\[0\\]\\.address: expected a number")
# pack writes nothing the library would refuse.
vx_tool_test(NAME tool_pack_refused ARGS pack ${VX_FILES}/refused-miromax.json -o files-refused.bin
  CODE 2 OUTPUT "the library would refuse the file: Firmware mismatch, unsupported product name: miro mini")
vx_tool_test(NAME tool_pack_bad_arguments ARGS pack ${VX_FILES}/l5-image.json CODE 2
  OUTPUT "--output is required")

# Sizes are judged before anything is read or built: a device is no file, and a manifest that
# asks for more than vxfw writes is refused at once.
vx_tool_test(NAME tool_inspect_device ARGS inspect /dev/zero CODE 2
  OUTPUT "/dev/zero: cannot read: not a regular file")
vx_tool_test(NAME tool_pack_oversized ARGS pack ${VX_FILES}/oversized-container.json -o files-big.bin
  CODE 2 OUTPUT "would take 1280 MiB, more than the 1024 MiB")
# A container without components: cameras take it and write nothing, so pack writes it only when
# asked, inspect refuses it and update says so.
vx_tool_test(NAME tool_pack_empty ARGS pack ${VX_FILES}/empty-container.json -o files-empty-no.bin
  CODE 2 OUTPUT "holds no component: nothing to write.*--allow-empty")
vx_tool_test(NAME tool_pack_empty_allowed
  ARGS pack ${VX_FILES}/empty-container.json -o files-empty.bin --allow-empty
  OUTPUT "wrote files-empty.bin: 64 bytes")
vx_tool_test(NAME tool_inspect_empty ARGS inspect files-empty.bin CODE 3
  OUTPUT "REFUSED.*refusal: The file holds no component: nothing to write"
  DEPENDS tool_pack_empty_allowed)
vx_tool_test(NAME tool_update_empty ARGS update files-empty.bin --sim l840 CODE 3
  OUTPUT "Result: refused: The file holds no component: nothing to write"
  DEPENDS tool_pack_empty_allowed)

# What inspect says of every packable file for every model is what update then does.
add_test(NAME tool_verdicts_match_updates COMMAND ${CMAKE_COMMAND} -DTOOL=$<TARGET_FILE:vxfw>
  "-DEMULATOR=${vx_emulator}"
  "-DMANIFEST_DIRS=${PROJECT_SOURCE_DIR}/examples/sample@@${VX_FILES}@@${CMAKE_CURRENT_SOURCE_DIR}/tools/device@@${PROJECT_SOURCE_DIR}/fuzz/manifests"
  -DWORK_DIR=${CMAKE_CURRENT_BINARY_DIR}/tools/matrix
  -P ${CMAKE_CURRENT_SOURCE_DIR}/tools/VerdictMatrix.cmake)
set_tests_properties(tool_verdicts_match_updates PROPERTIES LABELS tool)
