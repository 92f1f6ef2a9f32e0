# Assembles Lumora.framework in the build tree: Info.plist, the canned movie,
# the string tables of every localization and the overlay mask images.
set(LUMORA_FRAMEWORK_BUNDLE_DIR "${CMAKE_BINARY_DIR}/Lumora.framework")

file(GLOB_RECURSE LUMORA_RESOURCE_FILES CONFIGURE_DEPENDS
  "${CMAKE_SOURCE_DIR}/resources/*")

add_custom_command(
  OUTPUT "${CMAKE_BINARY_DIR}/Lumora.framework.stamp"
  COMMAND "${CMAKE_COMMAND}" -E rm -rf "${LUMORA_FRAMEWORK_BUNDLE_DIR}"
  COMMAND "${CMAKE_COMMAND}" -E copy_directory "${CMAKE_SOURCE_DIR}/resources"
          "${LUMORA_FRAMEWORK_BUNDLE_DIR}"
  COMMAND "${CMAKE_COMMAND}" -E touch "${CMAKE_BINARY_DIR}/Lumora.framework.stamp"
  DEPENDS ${LUMORA_RESOURCE_FILES}
  COMMENT "Assembling Lumora.framework"
  VERBATIM)
add_custom_target(lumora_framework_bundle DEPENDS "${CMAKE_BINARY_DIR}/Lumora.framework.stamp")
