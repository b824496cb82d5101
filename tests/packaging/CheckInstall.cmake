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
endif()

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
