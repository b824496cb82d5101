# cmake --install: the shared library, the emulator and the public headers, with a CMake package
# (find_package(vxsensor_ext) gives vxsensor::vxsensor_ext and vxsensor::vxsensor_sim) and a
# pkg-config file.
include(CMakePackageConfigHelpers)
set(VXSENSOR_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/vxsensor_ext)

install(TARGETS vxsensor_ext vxsensor_sim EXPORT vxsensor_extTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/vxsensor DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/sim/include/vxsim DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT vxsensor_extTargets NAMESPACE vxsensor:: DESTINATION ${VXSENSOR_CMAKE_DIR})

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/vxsensor_extConfig.cmake.in
  ${PROJECT_BINARY_DIR}/vxsensor_extConfig.cmake INSTALL_DESTINATION ${VXSENSOR_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/vxsensor_extConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/vxsensor_extConfig.cmake
  ${PROJECT_BINARY_DIR}/vxsensor_extConfigVersion.cmake DESTINATION ${VXSENSOR_CMAKE_DIR})

configure_file(${PROJECT_SOURCE_DIR}/cmake/vxsensor_ext.pc.in
  ${PROJECT_BINARY_DIR}/vxsensor_ext.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vxsensor_ext.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
