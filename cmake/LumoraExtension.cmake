# lumora_add_extension(<target>
#   BUNDLE <folder>            the extension's bundle folder (made if need be)
#   IDENTIFIER <identifier>    the bundle's identifier
#   PRINCIPAL_CLASS <name>     the principal class: the library is <folder>/<name>.so
#   SOURCES <file>...)         the extension's sources; one of them defines the
#                              entry point with LUMORA_EXTENSION_PRINCIPAL_CLASS
#
# Builds the extension's code as a shared library inside its bundle and writes
# the bundle's Info.plist naming the library under the principal class key.
# The simulated device's extension host loads the library in a process of its
# own; the framework's and the device's symbols come from that program, so the
# library links neither (only their headers).
function(lumora_add_extension target)
  cmake_parse_arguments(PARSE_ARGV 1 ARG "" "BUNDLE;IDENTIFIER;PRINCIPAL_CLASS" "SOURCES")
  if(NOT ARG_BUNDLE OR NOT ARG_IDENTIFIER OR NOT ARG_PRINCIPAL_CLASS OR NOT ARG_SOURCES)
    message(FATAL_ERROR "lumora_add_extension(${target}) needs BUNDLE, IDENTIFIER, PRINCIPAL_CLASS and SOURCES")
  endif()
  add_library(${target} MODULE ${ARG_SOURCES})
  set_target_properties(${target} PROPERTIES
    PREFIX "" SUFFIX ".so" OUTPUT_NAME "${ARG_PRINCIPAL_CLASS}"
    LIBRARY_OUTPUT_DIRECTORY "${ARG_BUNDLE}"
    CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN OFF)
  # The headers of every library live under the seam's include folder.
  if(TARGET Lumora::Platform)
    set(seam Lumora::Platform)
  else()
    set(seam lumora_platform)
  endif()
  target_include_directories(${target} PRIVATE $<TARGET_PROPERTY:${seam},INTERFACE_INCLUDE_DIRECTORIES>)
  target_compile_definitions(${target} PRIVATE $<TARGET_PROPERTY:${seam},INTERFACE_COMPILE_DEFINITIONS>)
  target_compile_features(${target} PRIVATE cxx_std_20)
  file(MAKE_DIRECTORY "${ARG_BUNDLE}")
  file(CONFIGURE OUTPUT "${ARG_BUNDLE}/Info.plist" CONTENT [[<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0">
<dict>
	<key>BundleIdentifier</key>
	<string>@ARG_IDENTIFIER@</string>
	<key>PrincipalClass</key>
	<string>@ARG_PRINCIPAL_CLASS@</string>
</dict>
</plist>
]] @ONLY)
endfunction()
