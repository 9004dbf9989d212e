# Installs the build BUILD, moves the result away to see that it can be, and uses it from there as
# projects of users do. Everything is written below WORK.
cmake_minimum_required(VERSION 3.25)

function(run)
  execute_process(COMMAND ${ARGV} COMMAND_ECHO STDOUT COMMAND_ERROR_IS_FATAL ANY)
endfunction()

# build_project(FOLDER ARGS…) configures and builds a project in WORK/NAME.
function(build_project folder)
  cmake_path(GET folder FILENAME name)
  run(${CMAKE_COMMAND} -S ${folder} -B ${WORK}/${name} -G ${GENERATOR}
    -DCMAKE_CXX_COMPILER=${COMPILER} -DCMAKE_PREFIX_PATH=${WORK}/moved ${ARGN})
  run(${CMAKE_COMMAND} --build ${WORK}/${name})
endfunction()

file(REMOVE_RECURSE ${WORK})
run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${WORK}/installed)
set(prefix ${WORK}/moved)
file(RENAME ${WORK}/installed ${prefix})

run(${prefix}/bin/velto container /dev/null)
foreach(file doc/velto/LICENSE doc/velto/README.md doc/velto/docs/building.md
        velto/examples/CMakeLists.txt)
  if(NOT EXISTS ${prefix}/share/${file})
    message(FATAL_ERROR "share/${file} is not installed")
  endif()
endforeach()

# The installed examples, by find_package. Every one runs to its end without arguments.
build_project(${prefix}/share/velto/examples)
file(GLOB examples ${SOURCE}/examples/*.cc)
foreach(example ${examples})
  cmake_path(GET example STEM name)
  run(${WORK}/examples/${name})
endforeach()

# The first tool of the guide, in C++, gets the same visits as the one that is a script.
set(tool ${prefix}/share/velto/examples/first_tool)
build_project(${tool})
file(COPY ${tool}/bake.model DESTINATION ${WORK}/visited)
string(RANDOM LENGTH 4 ALPHABET 123456789 port)
set(port 1${port}) # above the usual ones, below those that the system gives
set(visit "${prefix}/bin/velto host 127.0.0.1:${port} --t5 1 --names ${tool}/bake.model --script ${tool}")
run(sh -c "cd ${WORK}/visited || exit 1
  ${WORK}/first_tool/bake bake.model listen:${port} & trap \"kill $!\" EXIT
  ${visit}/visit.host && sleep 2 && ${visit}/return.host")

build_project(${CMAKE_CURRENT_LIST_DIR}/headers -DTABLE=${SOURCE}/cmake/public_headers.cmake)
build_project(${CMAKE_CURRENT_LIST_DIR}/embedded -DSOURCE=${SOURCE})

# In C, each with the other side: by pkg-config, as C11 and as C++.
file(GLOB c_description ${prefix}/lib*/pkgconfig/velto-c.pc ${prefix}/lib*/*/pkgconfig/velto-c.pc)
find_program(PKG_CONFIG NAMES pkg-config pkgconf REQUIRED)
execute_process(COMMAND ${PKG_CONFIG} --cflags --libs ${c_description}
  OUTPUT_VARIABLE c_flags OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
separate_arguments(c_flags UNIX_COMMAND ${c_flags})
find_program(CC NAMES cc gcc REQUIRED)
file(GLOB library_dir ${prefix}/lib*/libvelto.so ${prefix}/lib*/*/libvelto.so)
cmake_path(GET library_dir PARENT_PATH library_dir)
set(strict -Wall -Wextra -pedantic -Werror -Wl,-rpath,${library_dir})
foreach(name gem_equipment gem_host)
  run(${CC} -std=c11 ${strict} ${prefix}/share/velto/examples/c/${name}.c ${c_flags} -o ${WORK}/c_${name})
endforeach()
file(WRITE ${WORK}/header.cc "#include <velto.h>\nint main() { return velto_version() == 0; }\n")
run(${COMPILER} ${strict} ${WORK}/header.cc ${c_flags} -o ${WORK}/c_header)
run(${WORK}/c_header)

# Its host, those inside the loops of other libraries, and those in Java and C#, which know nothing
# but the shared library, as far as they can be built here: each asks that equipment for a report.
set(hosts ./c_gem_host)
build_project(${prefix}/share/velto/examples/loops)
foreach(name qt_host asio_host glib_host)
  if(EXISTS ${WORK}/loops/${name})
    list(APPEND hosts loops/${name})
  endif()
endforeach()
find_program(JAVA java)
set(modules "")
if(JAVA)
  execute_process(COMMAND ${JAVA} --list-modules OUTPUT_VARIABLE modules)
endif()
if(modules MATCHES "jdk.compiler.*jdk.incubator.foreign")
  list(APPEND hosts "${JAVA} --add-modules jdk.incubator.foreign --enable-native-access=ALL-UNNAMED \
    ${prefix}/share/velto/examples/java/GemHost.java ${library_dir}/libvelto.so")
else()
  message("No Java 17: its example is skipped")
endif()
find_program(MCS mcs)
find_program(MONO mono)
if(MCS AND MONO)
  run(${MCS} -out:${WORK}/GemHost.exe ${prefix}/share/velto/examples/csharp/GemHost.cs)
  list(APPEND hosts "env LD_LIBRARY_PATH=${library_dir} ${MONO} GemHost.exe")
else()
  message("No Mono: the example in C# is skipped")
endif()
foreach(host ${hosts})
  run(sh -c "cd ${WORK} || exit 1
    timeout 20 ./c_gem_equipment ${port} & timeout 20 ${host} ${port} && wait $!")
endforeach()

# By pkg-config.
find_program(PKG_CONFIG NAMES pkg-config pkgconf REQUIRED)
file(GLOB_RECURSE description ${prefix}/*/velto.pc)
execute_process(COMMAND ${PKG_CONFIG} --cflags --libs ${description}
  OUTPUT_VARIABLE flags OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
separate_arguments(flags UNIX_COMMAND ${flags})
list(GET examples 0 example)
run(${COMPILER} -std=c++20 ${example} ${flags} -o ${WORK}/by_pkg_config)
run(${WORK}/by_pkg_config)

# The three of the README, each against a tool of the program.
run(${COMPILER} -std=c++20 ${prefix}/share/velto/examples/pressure/pressure.cc ${flags}
  -o ${WORK}/pressure_cc)
run(${CC} -std=c11 ${strict} -Wno-unused-parameter
  ${prefix}/share/velto/examples/pressure/pressure.c ${c_flags} -o ${WORK}/pressure_c)
file(MAKE_DIRECTORY ${WORK}/pressure)
run(sh -c "cd ${WORK}/pressure || exit 1
  ${prefix}/bin/velto equipment listen:5014 --data ${prefix}/share/velto/examples/etch_tool.model --keep tool.kel --quiet &
  trap \"kill $!\" EXIT
  test \"$(${WORK}/pressure_cc)\" = 0.000000 && ${WORK}/pressure_c | grep '<f4 0.000000>'")

# try_program(RESULT OUTPUT OPTION…) compiles and links a program that does no more than include a
# header, in a build that drops what nobody needs.
file(WRITE ${WORK}/user.cc "#include <velto/secs2/message.h>\nint main() {}\n")
function(try_program result output)
  execute_process(COMMAND ${COMPILER} -O2 -ffunction-sections -fdata-sections ${ARGN}
    ${WORK}/user.cc ${flags} -Wl,--gc-sections -o ${WORK}/user
    RESULT_VARIABLE status OUTPUT_VARIABLE text ERROR_VARIABLE text)
  set(${result} ${status} PARENT_SCOPE)
  set(${output} "${text}" PARENT_SCOPE)
endfunction()

# refused(REASON OPTION…): with these options the program is not built, and is told why once.
function(refused reason)
  try_program(status text ${ARGN})
  string(REGEX MATCHALL "(error: [^\n]*|undefined reference to [^\n]*)${reason}" told "${text}")
  list(LENGTH told count)
  if(status EQUAL 0 OR NOT count EQUAL 1)
    message(FATAL_ERROR "${ARGN}: instead of \"${reason}\", once:\n${text}")
  endif()
endfunction()

try_program(status text -std=c++20)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "A program like the library is refused:\n${text}")
endif()
refused("Velto needs C\\+\\+20" -std=c++17)
refused("velto_was_built_with_GLIBCXX_DEBUG" -std=c++20 -D_GLIBCXX_DEBUG)
refused("velto_was_built_without_GLIBCXX_USE_CXX11_ABI" -std=c++20 -D_GLIBCXX_USE_CXX11_ABI=0)
