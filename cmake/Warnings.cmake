# One warning set for every target of the project.
add_library(vxsensor_warnings INTERFACE)
target_compile_options(vxsensor_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wcast-align
  -Wnon-virtual-dtor -Wold-style-cast -Woverloaded-virtual -Wnull-dereference
  $<$<BOOL:${VXSENSOR_WERROR}>:-Werror>)
