# Installs the build BUILD, moves the result away to see that it can be, and lets the project in
# EXAMPLES find and use it from there: by find_package, then by pkg-config. Every example has to
# run to its end without arguments. Everything is written below WORK.
cmake_minimum_required(VERSION 3.25)

function(run)
  execute_process(COMMAND ${ARGV} COMMAND_ECHO STDOUT COMMAND_ERROR_IS_FATAL ANY)
endfunction()

set(prefix ${WORK}/moved)
set(build ${WORK}/build)
file(REMOVE_RECURSE ${WORK})
run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${WORK}/installed)
file(RENAME ${WORK}/installed ${prefix})

run(${prefix}/bin/velto container /dev/null)

run(${CMAKE_COMMAND} -S ${EXAMPLES} -B ${build} -G ${GENERATOR}
  -DCMAKE_CXX_COMPILER=${COMPILER} -DCMAKE_PREFIX_PATH=${prefix})
run(${CMAKE_COMMAND} --build ${build})
file(GLOB sources ${EXAMPLES}/*.cc)
foreach(source ${sources})
  cmake_path(GET source STEM name)
  run(${build}/${name})
endforeach()

find_program(PKG_CONFIG NAMES pkg-config pkgconf REQUIRED)
file(GLOB_RECURSE description ${prefix}/*/velto.pc)
execute_process(COMMAND ${PKG_CONFIG} --cflags --libs ${description}
  OUTPUT_VARIABLE flags OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
separate_arguments(flags UNIX_COMMAND ${flags})
list(GET sources 0 source)
run(${COMPILER} -std=c++20 ${source} ${flags} -o ${WORK}/by_pkg_config)
run(${WORK}/by_pkg_config)
