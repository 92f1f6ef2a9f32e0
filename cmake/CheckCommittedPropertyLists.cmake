# Fails when a committed property list (seeds, kept fuzz inputs, fixtures,
# sample bundles) carries a document type line: our readers do not need one,
# and the line a property-list writer adds names the format's maker.
# Run in script mode with -DLUMORA_SOURCE_DIR=<source root>.
set(offenders "")
foreach(folder fuzz/corpus fuzz/regressions tests/fixtures examples/bundles resources)
  file(GLOB_RECURSE files "${LUMORA_SOURCE_DIR}/${folder}/*")
  foreach(file IN LISTS files)
    file(STRINGS "${file}" lines REGEX "<!DOCTYPE")
    if(lines)
      string(APPEND offenders "\n  ${file}")
    endif()
  endforeach()
endforeach()
if(offenders)
  message(FATAL_ERROR "These committed files carry a <!DOCTYPE> line; remove it:${offenders}")
endif()
