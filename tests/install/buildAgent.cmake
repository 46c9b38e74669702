# Installs BUILD under PREFIX, builds the example with find_package(irbmc) in WORK, runs it, and
# compares what it prints with what its own last comment says.
function(run)
  execute_process(COMMAND ${ARGN} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

file(REMOVE_RECURSE ${PREFIX} ${WORK})
run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${PREFIX})
set(flags "")
if(SANITIZE)
  set(flags -fsanitize=${SANITIZE})
endif()
run(${CMAKE_COMMAND} -S ${EXAMPLES} -B ${WORK} -G Ninja -DCMAKE_PREFIX_PATH=${PREFIX}
  -DCMAKE_CXX_COMPILER=${COMPILER} -DCMAKE_CXX_FLAGS=${flags})
run(${CMAKE_COMMAND} --build ${WORK})

foreach(example embed fulldisk)
  execute_process(COMMAND ${WORK}/${example} OUTPUT_VARIABLE printed COMMAND_ERROR_IS_FATAL ANY)
  file(READ ${EXAMPLES}/${example}.expected expected)
  if(NOT printed STREQUAL expected)
    message(FATAL_ERROR "the example ${example} printed\n${printed}and not\n${expected}")
  endif()
endforeach()
