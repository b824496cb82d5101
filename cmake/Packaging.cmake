# cmake --install: the shared library, the emulator and the public headers, with a CMake package
# (find_package(vxsensor_ext) gives vxsensor::vxsensor_ext, and vxsensor::vxsensor_sim where the
# emulator is installed: component sim) and a relocatable pkg-config file for each library.
# The two libraries keep separate export files because distributions ship them in separate
# packages, and an export file fails when a library it names is not installed.
include(CMakePackageConfigHelpers)
set(VXSENSOR_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/vxsensor_ext)

foreach(lib vxsensor_ext vxsensor_sim)
  install(TARGETS ${lib} EXPORT ${lib}Targets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  install(EXPORT ${lib}Targets NAMESPACE vxsensor:: DESTINATION ${VXSENSOR_CMAKE_DIR})
endforeach()
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/vxsensor DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/sim/include/vxsim DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
# The emulator's guide goes with its headers, where a test writer looks.
install(FILES ${PROJECT_SOURCE_DIR}/sim/README.md DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vxsim)

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/vxsensor_extConfig.cmake.in
  ${PROJECT_BINARY_DIR}/vxsensor_extConfig.cmake INSTALL_DESTINATION ${VXSENSOR_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/vxsensor_extConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/vxsensor_extConfig.cmake
  ${PROJECT_BINARY_DIR}/vxsensor_extConfigVersion.cmake DESTINATION ${VXSENSOR_CMAKE_DIR})

# The .pc files find the prefix from where they lie (${pcfiledir}), so an installed tree can move
# (a copied prefix, an unpacked package). Directories given as absolute paths cannot move with it.
set(VXSENSOR_PC_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}" OR IS_ABSOLUTE "${CMAKE_INSTALL_INCLUDEDIR}")
  set(VXSENSOR_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
  set(VXSENSOR_PC_LIBDIR "${CMAKE_INSTALL_FULL_LIBDIR}")
  set(VXSENSOR_PC_INCLUDEDIR "${CMAKE_INSTALL_FULL_INCLUDEDIR}")
else()
  file(RELATIVE_PATH pc_to_prefix "/${VXSENSOR_PC_DIR}" "/")
  string(REGEX REPLACE "/$" "" pc_to_prefix "${pc_to_prefix}")
  set(VXSENSOR_PC_PREFIX "\${pcfiledir}/${pc_to_prefix}")
  set(VXSENSOR_PC_LIBDIR "\${prefix}/${CMAKE_INSTALL_LIBDIR}")
  set(VXSENSOR_PC_INCLUDEDIR "\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}")
endif()
foreach(pc vxsensor_ext vxsensor_sim)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/${pc}.pc.in ${PROJECT_BINARY_DIR}/${pc}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${pc}.pc DESTINATION ${VXSENSOR_PC_DIR})
endforeach()
