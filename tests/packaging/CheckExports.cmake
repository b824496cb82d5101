cmake_minimum_required(VERSION 3.25)
# Proves the shared library exports exactly the contract's 13 functions (and its version script
# lists exactly them), with no C++ symbol. Run with -DNM=... -DLIBRARY=... -DMAP=...
set(CONTRACT
  vx_device_write_flash vx_device_read_flash vx_device_write_ahb vx_device_read_ahb
  vx_device_write_i2c vx_device_read_i2c vx_get_commit_hash vx_device_update_firmware_ext
  vx_device_update_firmware_from_raw_data_ext vx_device_update_optional_depth_presets_ext
  vx_device_write_customer_data_ext vx_device_read_customer_data_ext vx_set_device_info_data)

execute_process(COMMAND ${NM} -D --defined-only ${LIBRARY} OUTPUT_VARIABLE listing
  RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "${NM} failed on ${LIBRARY}")
endif()
string(REGEX MATCHALL "[0-9a-fA-F]+ [A-Za-z] [^\n]+" entries "${listing}")
set(exported)
foreach(entry IN LISTS entries)
  string(REGEX REPLACE "^[0-9a-fA-F]+ [A-Za-z] " "" name "${entry}")
  string(REGEX REPLACE "@.*$" "" name "${name}")
  list(APPEND exported ${name})
endforeach()

file(READ ${MAP} map_text)
string(REGEX MATCH "global:([^}]*)local:" _ "${map_text}")
string(REGEX MATCHALL "[A-Za-z_0-9]+" listed "${CMAKE_MATCH_1}")

foreach(name IN LISTS exported)
  if(name MATCHES "^_Z")
    message(FATAL_ERROR "C++ symbol exported: ${name}")
  endif()
  if(NOT name IN_LIST CONTRACT)
    message(FATAL_ERROR "not a contract function, yet exported: ${name}")
  endif()
endforeach()
list(SORT exported)
list(SORT listed)
list(SORT CONTRACT)
if(NOT exported STREQUAL CONTRACT OR NOT listed STREQUAL CONTRACT)
  message(FATAL_ERROR "exported: ${exported}\nversion script lists: ${listed}\ncontract: ${CONTRACT}")
endif()
list(LENGTH exported count)
message(STATUS "${count} contract functions exported, nothing else")
