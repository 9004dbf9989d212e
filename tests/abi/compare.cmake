# Compares the interface of LIBRARY with MODULE/velto.abi; WRITE makes that file instead.
execute_process(
  COMMAND ${ABIDW} --headers-dir ${MODULE} --drop-private-types --exported-interfaces-only
    --no-architecture --no-show-locs --no-corpus-path --no-comp-dir-path --no-elf-needed ${LIBRARY}
  OUTPUT_VARIABLE interface COMMAND_ERROR_IS_FATAL ANY)
string(REGEX REPLACE " path='[^']*'" "" interface "${interface}") # it depends on the build folder
if(WRITE)
  file(WRITE ${MODULE}/velto.abi "${interface}")
  return()
endif()

file(WRITE ${WORK}/velto.abi "${interface}")
execute_process(COMMAND ${ABIDIFF} --harmless ${MODULE}/velto.abi ${WORK}/velto.abi
  RESULT_VARIABLE status OUTPUT_VARIABLE changes ERROR_VARIABLE changes)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "The interface is another one:\n${changes}"
    "If programs that were built with the last one still run, run the target velto_abi_write; "
    "else keep what there was, or raise VELTO_ABI.")
endif()
