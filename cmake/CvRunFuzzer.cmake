# Runs one fuzzer for a bounded time: cmake -DFUZZER=exe -DSEEDS=dir -DWORK=dir -DSECONDS=n -P this.
# The seeds are copied into WORK/corpus first (what earlier runs found there stays), so the source
# tree is never written to. Crashes, leaks and time-outs go to WORK/artifacts and fail the test.

if(NOT FUZZER OR NOT WORK OR NOT SECONDS)
  message(FATAL_ERROR "CvRunFuzzer.cmake needs FUZZER, WORK and SECONDS")
endif()

set(corpus ${WORK}/corpus)
set(artifacts ${WORK}/artifacts)
file(MAKE_DIRECTORY ${corpus} ${artifacts})
if(SEEDS)
  file(GLOB seeds LIST_DIRECTORIES false ${SEEDS}/*)
  if(seeds)
    file(COPY ${seeds} DESTINATION ${corpus})
  endif()
endif()

execute_process(
  COMMAND ${FUZZER} -max_total_time=${SECONDS} -rss_limit_mb=2048 -timeout=10 -print_final_stats=1
          -artifact_prefix=${artifacts}/ ${corpus}
  RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  file(GLOB found ${artifacts}/*)
  message(FATAL_ERROR "${FUZZER} failed (${result}); inputs that reproduce it: ${found}\n"
                      "Replay one with: ${FUZZER} <input>")
endif()
