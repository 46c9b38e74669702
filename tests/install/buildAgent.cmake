# Installs BUILD under PREFIX, builds the examples in C++ with find_package(irbmc) in WORK, that in C
# with the C compiler, and runs them: the agent must print what is expected, the readers must print
# what CHECK_READER wants of them.
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

run(${CHECK_READER} ${PREFIX}/bin/irbmc ${WORK}/follow)
if(NOT SANITIZE)  # whose runtime is the C++ compiler's
  run(cc -std=c99 -pedantic -Wall -Wextra -Werror -I${PREFIX}/include/irbmc ${EXAMPLES}/pim-reader.c
    -L${PREFIX}/${LIBDIR} -Wl,-rpath,${PREFIX}/${LIBDIR} -lGmpTable -o ${WORK}/pim-reader)
  run(${CHECK_READER} ${PREFIX}/bin/irbmc ${WORK}/pim-reader)
endif()
