# Makes the wheel of the package in BUILD twice, installs it into a virtual environment of its own
# and runs the examples there. Everything is written below WORK.
cmake_minimum_required(VERSION 3.25)

function(run)
  execute_process(COMMAND ${ARGV} COMMAND_ECHO STDOUT COMMAND_ERROR_IS_FATAL ANY)
endfunction()

file(REMOVE_RECURSE ${WORK})
foreach(time first second)
  file(MAKE_DIRECTORY ${WORK}/${time})
  run(${PYTHON} ${SOURCE}/python/make_wheel.py ${BUILD}/python/velto ${SOURCE} ${WORK}/${time})
  file(GLOB wheel ${WORK}/${time}/*.whl)
  file(SHA256 ${wheel} ${time})
endforeach()
if(NOT first STREQUAL second)
  message(FATAL_ERROR "Two wheels of the same files differ")
endif()

# cffi comes from the system: no network is needed.
run(${PYTHON} -m venv --system-site-packages ${WORK}/environment)
set(python ${WORK}/environment/bin/python)
run(${python} -m pip install --quiet --no-index --no-deps ${wheel})
set(ENV{PYTHONPATH} "")
run(${python} -c "import velto, sys; assert velto.__file__.startswith(sys.prefix), velto.__file__")
execute_process(COMMAND ${python} -m unittest -q examples_test
  WORKING_DIRECTORY ${SOURCE}/tests/python COMMAND_ERROR_IS_FATAL ANY)
run(${python} -m pip uninstall --quiet --yes velto)
