# Hardening of everything the project builds, and the optional sanitizer build.
#   VXSENSOR_HARDENING=OFF  the compile and link flags given carry the hardening (a distribution's
#                           package build takes dpkg-buildflags'), so the project adds none of its own
#   VXSENSOR_SANITIZE=ON    AddressSanitizer + UndefinedBehaviorSanitizer, every finding fatal
option(VXSENSOR_HARDENING "Add the project's own hardening flags" ON)
option(VXSENSOR_SANITIZE "Build with AddressSanitizer and UndefinedBehaviorSanitizer" OFF)

add_library(vxsensor_hardening INTERFACE)
if(VXSENSOR_HARDENING)
  target_compile_options(vxsensor_hardening INTERFACE
    -fstack-protector-strong
    # Fortification needs the optimiser; a sanitizer build checks more than it would.
    $<$<AND:$<NOT:$<CONFIG:Debug>>,$<NOT:$<BOOL:${VXSENSOR_SANITIZE}>>>:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2>)
  # Full RELRO with immediate binding: the host functions are resolved when the library loads, so
  # a missing one fails at load time rather than in the middle of an update.
  target_link_options(vxsensor_hardening INTERFACE
    LINKER:-z,relro LINKER:-z,now LINKER:-z,noexecstack)
endif()

if(VXSENSOR_SANITIZE)
  target_compile_options(vxsensor_hardening INTERFACE
    -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(vxsensor_hardening INTERFACE -fsanitize=address,undefined)
endif()

# Every target of the project takes the warnings and the hardening together.
target_link_libraries(vxsensor_warnings INTERFACE vxsensor_hardening)
