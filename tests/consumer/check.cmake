# Installs the built library into a scratch prefix and builds a user of it the
# way MODE says: "cmake" (this folder's consumer, through find_package),
# "pkgconfig" (the same consumer compiled with the flags pkg-config gives) or
# "examples" (the examples folder as a project of its own). The program built
# is run.
file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)

function(run step)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(rc)
    message(FATAL_ERROR "${MODE}: ${step} failed (${rc}):\n${out}\n${err}")
  endif()
  set(out "${out}" PARENT_SCOPE)
endfunction()

run(install ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
file(GLOB_RECURSE pc_files ${prefix}/cmskit64.pc)
list(LENGTH pc_files pc_count)
if(NOT pc_count EQUAL 1)
  message(FATAL_ERROR "pkg-config file not installed")
endif()
get_filename_component(pc_dir ${pc_files} DIRECTORY)
get_filename_component(lib_dir ${pc_dir} DIRECTORY)

if(MODE STREQUAL "cmake")
  run(configure ${CMAKE_COMMAND} -S ${SOURCE_DIR}/tests/consumer -B ${WORK_DIR}/build -DCMAKE_PREFIX_PATH=${prefix})
  run(build ${CMAKE_COMMAND} --build ${WORK_DIR}/build)
  run(consumer ${WORK_DIR}/build/consumer)
elseif(MODE STREQUAL "pkgconfig")
  run(pkg-config ${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${pc_dir} pkg-config --cflags --libs cmskit64)
  string(STRIP "${out}" flags)
  string(FIND "${flags}" "-I${prefix}/include" include_at)
  string(FIND "${flags}" "-L${lib_dir} " lib_at)
  if(include_at EQUAL -1 OR lib_at EQUAL -1)
    message(FATAL_ERROR "pkg-config does not point into ${prefix}: ${flags}")
  endif()
  separate_arguments(flags UNIX_COMMAND "${flags}")
  run(build ${CXX} -std=c++17 -Wall -Wextra -Werror ${SOURCE_DIR}/tests/consumer/main.cpp ${flags}
      -o ${WORK_DIR}/consumer)
  run(consumer ${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${lib_dir} ${WORK_DIR}/consumer)
elseif(MODE STREQUAL "examples")
  run(configure ${CMAKE_COMMAND} -S ${SOURCE_DIR}/examples -B ${WORK_DIR}/build -DCMAKE_PREFIX_PATH=${prefix})
  run(build ${CMAKE_COMMAND} --build ${WORK_DIR}/build)
  run(example ${WORK_DIR}/build/example_list_signers ${SOURCE_DIR}/examples/data/signed.p7s)
else()
  message(FATAL_ERROR "unknown MODE ${MODE}")
endif()
message(STATUS "${MODE}: ${out}")
