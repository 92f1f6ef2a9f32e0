# Fails when one of the given files includes a header of the simulated device
# (used for the framework, the seam, and the sample app's application part).
# Run in script mode with -DLUMORA_CHECKED_LIST=<file naming one file a line> and
# optionally -DLUMORA_CHECK_STAMP=<file to touch on success>.
#
# Any include whose path has a `host/` folder is refused, whether written from the
# source root ("platform/host/device/...") or relative to a seam header ("../host/...").
file(STRINGS "${LUMORA_CHECKED_LIST}" checked)
set(offenders "")
foreach(file IN LISTS checked)
  file(STRINGS "${file}" lines REGEX "^[ \t]*#[ \t]*include[ \t]*[<\"]([^\">]*/)?host/")
  foreach(line IN LISTS lines)
    string(STRIP "${line}" line)
    string(APPEND offenders "\n  ${file}: ${line}")
  endforeach()
endforeach()
if(offenders)
  message(FATAL_ERROR
    "These files must not include a header of the simulated device (platform/host/); "
    "go through a platform role instead:${offenders}")
endif()
if(LUMORA_CHECK_STAMP)
  file(TOUCH "${LUMORA_CHECK_STAMP}")
endif()
