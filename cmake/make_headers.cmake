# cmake -DSOURCE=<the root> -DOUT=<folder> -P make_headers.cmake
#
# Writes the headers of the table to OUT/velto, as users include them: what reads
# `#include "secs2/item.h"` in the tree reads `#include <velto/secs2/item.h>` there, so that one
# include directory is enough and no folder of ours can be taken for one of theirs. Each begins with
# base/config.h, which says what a compiler or its settings lack. A header outside of the table must
# not be needed.
cmake_minimum_required(VERSION 3.25)
include(${CMAKE_CURRENT_LIST_DIR}/public_headers.cmake)

set(headers ${VELTO_PUBLIC_HEADERS} ${VELTO_INNER_HEADERS})
set(idle ${VELTO_INNER_HEADERS})
set(faults "")
set(config "#include <velto/base/config.h>\n")

foreach(header ${headers})
  file(READ ${SOURCE}/${header} text)
  string(REGEX MATCHALL "#include \"[^\"\n]+" includes "${text}")
  list(TRANSFORM includes REPLACE "#include \"" "")
  foreach(include ${includes})
    if(NOT include IN_LIST headers)
      string(APPEND faults "\n  ${header} includes the private ${include}")
    endif()
  endforeach()
  if(includes)
    list(REMOVE_ITEM idle ${includes})
  endif()

  string(REGEX REPLACE "#include \"([^\"\n]+)\"" "#include <velto/\\1>" text "${text}")
  if(NOT header STREQUAL base/config.h)
    string(REPLACE "#pragma once\n" "#pragma once\n\n${config}" text "${text}")
    string(FIND "${text}" "${config}" begins)
    if(begins EQUAL -1)
      string(APPEND faults "\n  ${header} does not begin with #pragma once")
    endif()
  endif()
  set(made "")
  if(EXISTS ${OUT}/velto/${header})
    file(READ ${OUT}/velto/${header} made)
  endif()
  if(NOT made STREQUAL text)
    file(WRITE ${OUT}/velto/${header} "${text}")
  endif()
endforeach()

foreach(header ${idle})
  string(APPEND faults "\n  ${header} is included by no public header")
endforeach()
if(faults)
  message(FATAL_ERROR "cmake/public_headers.cmake does not hold:${faults}")
endif()

file(GLOB_RECURSE made RELATIVE ${OUT}/velto ${OUT}/velto/*.h)
list(REMOVE_ITEM made ${headers})
foreach(header ${made})
  file(REMOVE ${OUT}/velto/${header})
endforeach()
