# Writes vxfw's man page: help2man reads vxfw --help, and every subcommand's --help (found by
# walking the "Subcommands:" lists) becomes a subsection of COMMANDS.
#   cmake -DTOOL=<vxfw> [-DEMULATOR=<cmd@@args>] -DHELP2MAN=<help2man> -DVERSION=<x.y.z>
#         -DINCLUDE=<vxfw.h2m> -DWORK_DIR=<dir> -DOUTPUT=<vxfw.1> -P ManPage.cmake
cmake_minimum_required(VERSION 3.25)
string(REPLACE "@@" ";" EMULATOR "${EMULATOR}")

function(help_of out)
  execute_process(COMMAND ${EMULATOR} ${TOOL} ${ARGN} --help
    OUTPUT_VARIABLE text ERROR_VARIABLE err RESULT_VARIABLE rc)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "vxfw ${ARGN} --help failed (${rc}): ${err}")
  endif()
  # The usage line names the program by the path it was started from.
  string(REGEX REPLACE "Usage: [^ \n]+" "Usage: vxfw" text "${text}")
  set(${out} "${text}" PARENT_SCOPE)
endfunction()

function(subcommands_of text out)
  set(names)
  if(text MATCHES "\nSubcommands:\n((  [^\n]*\n)*)")
    string(REGEX MATCHALL "(^|\n)  [^ \n]+" entries "${CMAKE_MATCH_1}")
    foreach(entry IN LISTS entries)
      string(STRIP "${entry}" name)
      list(APPEND names ${name})
    endforeach()
  endif()
  set(${out} ${names} PARENT_SCOPE)
endfunction()

# Help text as roff lines kept as they are: escapes, lines that roff would take for requests, and
# hyphens that are option dashes.
function(as_roff text out)
  string(REPLACE "\\" "\\e" text "${text}")
  string(REPLACE "-" "\\-" text "${text}")
  string(REGEX REPLACE "(^|\n)([.'])" "\\1\\\\&\\2" text "${text}")
  set(${out} "${text}" PARENT_SCOPE)
endfunction()

# Appends the subsection of the command named by ARGN, then those of its subcommands.
function(describe)
  help_of(text ${ARGN})
  list(JOIN ARGN " " name)
  as_roff("${text}" roff)
  set_property(GLOBAL APPEND_STRING PROPERTY commands_section
    ".SS \"vxfw ${name}\"\n.nf\n${roff}.fi\n")
  subcommands_of("${text}" subcommands)
  foreach(sub IN LISTS subcommands)
    describe(${ARGN} ${sub})
  endforeach()
endfunction()

help_of(top)
subcommands_of("${top}" subcommands)
if(NOT subcommands)
  message(FATAL_ERROR "vxfw --help lists no subcommands:\n${top}")
endif()
foreach(sub IN LISTS subcommands)
  describe(${sub})
endforeach()
get_property(commands GLOBAL PROPERTY commands_section)

# help2man runs the program it documents; a stand-in prints what vxfw printed (emulator or not).
file(MAKE_DIRECTORY ${WORK_DIR})
file(WRITE ${WORK_DIR}/help.txt "${top}")
file(WRITE ${WORK_DIR}/commands.h2m "[COMMANDS]\n${commands}")
file(WRITE ${WORK_DIR}/stand-in/vxfw "#!/bin/sh\ncat '${WORK_DIR}/help.txt'\n")
file(CHMOD ${WORK_DIR}/stand-in/vxfw PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE
  GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
execute_process(COMMAND ${HELP2MAN} --no-info --section=1 --version-string=${VERSION}
    "--name=check camera firmware files and update depth cameras"
    --include=${WORK_DIR}/commands.h2m --include=${INCLUDE}
    --output=${OUTPUT} ${WORK_DIR}/stand-in/vxfw
  RESULT_VARIABLE rc ERROR_VARIABLE err)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "help2man failed (${rc}): ${err}")
endif()
