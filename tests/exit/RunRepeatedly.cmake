# Runs PROGRAM RUNS times in a row, each run with a clip folder of its own
# under WORK_DIR (plus ARGS), and fails on the first run that does not exit 0:
# a crash on the way out shows as a signal here.
#   cmake -DPROGRAM=<path> -DRUNS=<n> -DWORK_DIR=<dir> [-DARGS=<a;b>] -P RunRepeatedly.cmake
foreach(required PROGRAM RUNS WORK_DIR)
  if(NOT DEFINED ${required})
    message(FATAL_ERROR "RunRepeatedly.cmake needs -D${required}=...")
  endif()
endforeach()

file(REMOVE_RECURSE "${WORK_DIR}")
foreach(run RANGE 1 ${RUNS})
  set(folder "${WORK_DIR}/run-${run}")
  file(MAKE_DIRECTORY "${folder}")
  execute_process(COMMAND "${PROGRAM}" "${folder}" ${ARGS}
    RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output TIMEOUT 30)
  if(NOT result STREQUAL "0")
    message(FATAL_ERROR "run ${run} of ${RUNS} ended with: ${result}\n${output}")
  endif()
  file(REMOVE_RECURSE "${folder}")
endforeach()
message(STATUS "${RUNS} runs exited cleanly")
