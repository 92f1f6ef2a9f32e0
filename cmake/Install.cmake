# `cmake --install` lays out, under the prefix:
#   include/lumora/<folder>/*.h            the framework's, the seam's and the simulated device's headers
#   lib/liblumora*.a                       the libraries (framework, seam, simulated device, lab)
#   share/lumora/Lumora.framework/         the framework bundle's resources
#   lib/cmake/Lumora/                      find_package(Lumora): Lumora::Lumora, Lumora::Platform,
#                                          Lumora::SimulatedDevice, Lumora::Lab, LUMORA_FRAMEWORK_BUNDLE_DIR
#                                          and lumora_add_extension()
#   lib/pkgconfig/lumora.pc, lumora-simulated-device.pc
#   bin/lumora-lab                         the lab, beside the device's programs it starts
#   bin/lumora-extension-host, bin/lumora-recording-service
#   share/lumora/extensions/*.appex        the sample upload extensions' bundles (when built)
include(CMakePackageConfigHelpers)

set(LUMORA_INSTALL_CMAKEDIR "${CMAKE_INSTALL_LIBDIR}/cmake/Lumora")
set(LUMORA_INSTALL_BUNDLEDIR "${CMAKE_INSTALL_DATADIR}/lumora/Lumora.framework")

set_target_properties(lumora PROPERTIES EXPORT_NAME Lumora)
set_target_properties(lumora_platform PROPERTIES EXPORT_NAME Platform)
set_target_properties(lumora_host PROPERTIES EXPORT_NAME SimulatedDevice)
set_target_properties(lumora_lab PROPERTIES EXPORT_NAME Lab)
install(TARGETS lumora lumora_platform lumora_host lumora_lab EXPORT LumoraTargets
  ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}")
install(EXPORT LumoraTargets NAMESPACE Lumora:: DESTINATION "${LUMORA_INSTALL_CMAKEDIR}")

foreach(folder IN LISTS LUMORA_FRAMEWORK_FOLDERS ITEMS platform)
  install(DIRECTORY "${CMAKE_CURRENT_SOURCE_DIR}/${folder}/" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/lumora/${folder}"
    FILES_MATCHING PATTERN "*.h")
endforeach()
install(DIRECTORY "${CMAKE_CURRENT_SOURCE_DIR}/resources/" DESTINATION "${LUMORA_INSTALL_BUNDLEDIR}")

configure_package_config_file(cmake/LumoraConfig.cmake.in "${CMAKE_CURRENT_BINARY_DIR}/LumoraConfig.cmake"
  INSTALL_DESTINATION "${LUMORA_INSTALL_CMAKEDIR}" PATH_VARS LUMORA_INSTALL_BUNDLEDIR)
write_basic_package_version_file("${CMAKE_CURRENT_BINARY_DIR}/LumoraConfigVersion.cmake"
  COMPATIBILITY SameMajorVersion)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/LumoraConfig.cmake" "${CMAKE_CURRENT_BINARY_DIR}/LumoraConfigVersion.cmake"
  "${CMAKE_CURRENT_SOURCE_DIR}/cmake/LumoraExtension.cmake" DESTINATION "${LUMORA_INSTALL_CMAKEDIR}")

foreach(pc lumora lumora-simulated-device)
  configure_file("cmake/${pc}.pc.in" "${CMAKE_CURRENT_BINARY_DIR}/${pc}.pc" @ONLY)
  install(FILES "${CMAKE_CURRENT_BINARY_DIR}/${pc}.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
endforeach()

# The lab and the device's programs. The lab finds the extension host beside
# itself and the framework's bundle under ../share, so the installed copy runs
# without the build tree.
install(TARGETS lumora-lab lumora-extension-host lumora-recording-service RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
foreach(bundle SampleUpload LeakyUpload)
  if(TARGET lumora_extension_${bundle})
    install(DIRECTORY "${LUMORA_SAMPLE_EXTENSION_BUNDLES_DIR}/${bundle}.appex"
      DESTINATION "${CMAKE_INSTALL_DATADIR}/lumora/extensions")
  endif()
endforeach()
