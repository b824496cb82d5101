cmake_minimum_required(VERSION 3.25)
# Installs the build into a scratch prefix, moves the installed tree elsewhere (nothing in it may
# point back at where it was installed), and uses it from there as its users would: vxfw runs
# with no environment at all, its man page covers every subcommand, its completion is in place,
# and a consumer program builds and runs through find_package and through pkg-config.
# Run with -DBUILD_DIR=... -DSOURCE_DIR=<consumer project> -DWORK_DIR=... -DLIBDIR=<under the prefix>
#   -DCXX=<compiler> -DPKG_CONFIG=<pkg-config> [-DVXFW=ON -DCOMPLETION=<path> [-DMANPAGE=<path>]]
file(REMOVE_RECURSE ${WORK_DIR})
set(installed ${WORK_DIR}/installed)
set(prefix ${WORK_DIR}/moved)

# Runs the command in ARGN; fails the test unless it exits 0. Its standard output: run_output.
function(run what)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "${what} failed (${rc}):\n${out}${err}")
  endif()
  set(run_output "${out}" PARENT_SCOPE)
endfunction()

function(expect_consumer_output out how)
  if(NOT out MATCHES "commit 4f2a7c1")
    message(FATAL_ERROR "consumer built through ${how} printed: ${out}")
  endif()
endfunction()

run("cmake --install" ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${installed})
file(RENAME ${installed} ${prefix})
file(GLOB sonames ${prefix}/${LIBDIR}/libvxsensor_ext.so.*)
if(NOT sonames)
  message(FATAL_ERROR "no versioned shared library in ${prefix}/${LIBDIR}")
endif()

if(VXFW)
  run("vxfw --help from the moved prefix with no environment" env -i ${prefix}/bin/vxfw --help)
  string(REGEX MATCH "\nSubcommands:\n(  [^\n]*\n)*" listed "${run_output}")
  string(REGEX MATCHALL "\n  [^ \n]+" subcommands "${listed}")
  if(NOT subcommands)
    message(FATAL_ERROR "vxfw --help lists no subcommands:\n${run_output}")
  endif()
  if(MANPAGE)
    file(READ ${prefix}/${MANPAGE} page)
    foreach(entry IN LISTS subcommands)
      string(STRIP "${entry}" name)
      string(FIND "${page}" ".SS \"vxfw ${name}\"" at)
      if(at EQUAL -1)
        message(FATAL_ERROR "the man page has no section for vxfw ${name}")
      endif()
    endforeach()
  endif()
  if(NOT EXISTS ${prefix}/${COMPLETION})
    message(FATAL_ERROR "no bash completion at ${prefix}/${COMPLETION}")
  endif()

  # The emulator is found beside the moved vxfw; an integrator's plugin, built outside the
  # project against the installed headers, drives an update.
  run("vxfw pack from the moved prefix" env -i ${prefix}/bin/vxfw pack
    ${SOURCE_DIR}/../../tools/device/l840-firmware.json -o ${WORK_DIR}/rig.fw)
  run("vxfw --sim from the moved prefix" env -i ${prefix}/bin/vxfw update ${WORK_DIR}/rig.fw
    --sim l840)
  run("plugin configure" ${CMAKE_COMMAND} -S ${SOURCE_DIR}/../plugin -B ${WORK_DIR}/plugin
    -DCMAKE_PREFIX_PATH=${prefix})
  run("plugin build" ${CMAKE_COMMAND} --build ${WORK_DIR}/plugin)
  file(GLOB plugin ${WORK_DIR}/plugin/*rig_plugin.so)
  run("vxfw devices with the plugin" env -i ${prefix}/bin/vxfw devices --device-plugin ${plugin})
  if(NOT run_output MATCHES "rig0  L840 on the left arm\nrig1")
    message(FATAL_ERROR "vxfw devices did not list the rig's cameras:\n${run_output}")
  endif()
  run("vxfw update through the plugin" env -i VXFW_DEVICE_PLUGIN=${plugin} ${prefix}/bin/vxfw
    update ${WORK_DIR}/rig.fw --device rig0)
  if(NOT run_output MATCHES "Result: done \\(3\\)")
    message(FATAL_ERROR "the update through the plugin did not finish:\n${run_output}")
  endif()
  # Recorded through the plugin, replayed from the moved prefix without it.
  run("vxfw --record through the plugin" env -i VXFW_DEVICE_PLUGIN=${plugin} ${prefix}/bin/vxfw
    --record ${WORK_DIR}/rig.trace update ${WORK_DIR}/rig.fw --device rig0)
  run("vxfw replay of the plugin's trace" env -i ${prefix}/bin/vxfw replay ${WORK_DIR}/rig.trace)
  if(NOT run_output MATCHES "\nReplay: match: ")
    message(FATAL_ERROR "the trace recorded through the plugin did not replay:\n${run_output}")
  endif()
  if(NOT EXISTS ${prefix}/lib/vxsensor/libvxsensor_record.so)
    message(FATAL_ERROR "no preloadable recorder at ${prefix}/lib/vxsensor")
  endif()
endif()

# The emulator's README is installed with its headers, and its example builds as shown.
file(READ ${prefix}/include/vxsim/README.md readme)
if(NOT readme MATCHES "```cpp\n(#include[^`]*)```")
  message(FATAL_ERROR "the installed emulator README has no example program")
endif()
file(WRITE ${WORK_DIR}/example/example.cpp "${CMAKE_MATCH_1}")
file(WRITE ${WORK_DIR}/example/CMakeLists.txt "cmake_minimum_required(VERSION 3.25)
project(example LANGUAGES CXX)
set(CMAKE_CXX_STANDARD 17)
find_package(vxsensor_ext 1 REQUIRED COMPONENTS sim)
add_executable(example example.cpp)
target_link_libraries(example PRIVATE vxsensor::vxsensor_ext vxsensor::vxsensor_sim)
")
run("README example configure" ${CMAKE_COMMAND} -S ${WORK_DIR}/example -B ${WORK_DIR}/example/build
  -DCMAKE_PREFIX_PATH=${prefix})
run("README example build" ${CMAKE_COMMAND} --build ${WORK_DIR}/example/build)
run("README example" ${WORK_DIR}/example/build/example)

run("consumer configure" ${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${WORK_DIR}/build
  -DCMAKE_PREFIX_PATH=${prefix})
run("consumer build" ${CMAKE_COMMAND} --build ${WORK_DIR}/build)
run("consumer built through find_package" ${WORK_DIR}/build/consumer)
expect_consumer_output("${run_output}" find_package)

# Only the moved tree's .pc files are seen; they must name the moved tree.
run("pkg-config" env PKG_CONFIG_LIBDIR=${prefix}/${LIBDIR}/pkgconfig
  ${PKG_CONFIG} --cflags --libs vxsensor_ext vxsensor_sim)
string(STRIP "${run_output}" flags)
string(FIND "${flags}" "-I${prefix}/" in_prefix)
string(FIND "${flags}" "${installed}" in_old_place)
if(in_prefix EQUAL -1 OR NOT in_old_place EQUAL -1)
  message(FATAL_ERROR "pkg-config flags do not follow the moved tree: ${flags}")
endif()
separate_arguments(flags UNIX_COMMAND "${flags}")
run("consumer compile through pkg-config"
  ${CXX} ${SOURCE_DIR}/main.cpp ${flags} -o ${WORK_DIR}/consumer-pkg-config)
run("consumer built through pkg-config"
  env LD_LIBRARY_PATH=${prefix}/${LIBDIR} ${WORK_DIR}/consumer-pkg-config)
expect_consumer_output("${run_output}" pkg-config)
message(STATUS "installed tree moved and used: vxfw, find_package and pkg-config consumers run")
