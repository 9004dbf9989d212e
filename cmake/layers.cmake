# One library per folder. A library sees its own folder and those it links, and no other: its
# include directory holds a single link named after the folder, so that an include of a layer
# that is not linked does not build. A project that embeds these sources sees no folder of ours but
# the headers that an install has, as <velto/FOLDER/NAME.h>.

# True for the targets that are made below this project, and for no other.
set(VELTO_OWN ON)
define_property(TARGET PROPERTY VELTO_OWN INITIALIZE_FROM_VARIABLE VELTO_OWN)

# Symbols are for our own use unless a build says otherwise: a program or shared library that links
# the archives does not export them.
if(NOT DEFINED CMAKE_CXX_VISIBILITY_PRESET)
  set(CMAKE_CXX_VISIBILITY_PRESET hidden)
  set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
endif()

# What every target of ours is compiled with; private, so that it never reaches a user's build.
add_library(velto_options INTERFACE)
target_compile_options(velto_options INTERFACE -Wall -Wextra -Wconversion -Wshadow)
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # "text" + std::string makes optimised builds warn of overlapping copies that can't happen.
  target_compile_options(velto_options INTERFACE -Wno-restrict)
endif()
if(VELTO_SANITIZE STREQUAL thread)
  target_compile_options(velto_options INTERFACE -fsanitize=thread)
  target_link_options(velto_options INTERFACE -fsanitize=thread)
elseif(VELTO_SANITIZE)
  # The check of vptr opens a pipe; where a test uses up the descriptors, it reports good objects.
  target_compile_options(velto_options INTERFACE
    -fsanitize=address,undefined -fno-sanitize=vptr -fno-sanitize-recover=all
    -fno-omit-frame-pointer)
  target_compile_definitions(velto_options INTERFACE _GLIBCXX_ASSERTIONS)
  target_link_options(velto_options INTERFACE -fsanitize=address,undefined)
endif()
if(VELTO_FUZZ)
  target_compile_options(velto_options INTERFACE -fsanitize=fuzzer-no-link)
endif()

# The headers for users, made anew when one of them changes.
set(VELTO_INCLUDE ${PROJECT_BINARY_DIR}/include)
include(cmake/public_headers.cmake)
list(TRANSFORM VELTO_PUBLIC_HEADERS PREPEND ${PROJECT_SOURCE_DIR}/ OUTPUT_VARIABLE public_headers)
list(TRANSFORM VELTO_INNER_HEADERS PREPEND ${PROJECT_SOURCE_DIR}/ OUTPUT_VARIABLE inner_headers)
add_custom_command(OUTPUT ${PROJECT_BINARY_DIR}/headers.stamp
  COMMAND ${CMAKE_COMMAND} -DSOURCE=${PROJECT_SOURCE_DIR} -DOUT=${VELTO_INCLUDE}
    -P ${PROJECT_SOURCE_DIR}/cmake/make_headers.cmake
  COMMAND ${CMAKE_COMMAND} -E touch ${PROJECT_BINARY_DIR}/headers.stamp
  DEPENDS cmake/make_headers.cmake cmake/public_headers.cmake ${public_headers} ${inner_headers}
  COMMENT "Making the headers for users" VERBATIM)
add_custom_target(velto_headers ALL DEPENDS ${PROJECT_BINARY_DIR}/headers.stamp)

# All layers in one.
add_library(velto_all INTERFACE)
add_library(velto::velto ALIAS velto_all)
set_target_properties(velto_all PROPERTIES EXPORT_NAME velto)

# velto_view(TARGET FOLDER) lets TARGET, and what links it, include "FOLDER/…".
function(velto_view target folder)
  set(view ${PROJECT_BINARY_DIR}/layers/${target})
  cmake_path(GET folder PARENT_PATH parent)
  file(MAKE_DIRECTORY ${view}/${parent})
  file(CREATE_LINK ${PROJECT_SOURCE_DIR}/${folder} ${view}/${folder} SYMBOLIC)
  target_include_directories(${target} PUBLIC
    $<BUILD_INTERFACE:$<IF:$<BOOL:$<TARGET_PROPERTY:VELTO_OWN>>,${view},${VELTO_INCLUDE}>>)
endfunction()

# velto_layer(NAME [INTERNAL] SOURCES … [LINKS …]) makes the current folder the library
# velto::NAME. An INTERNAL one belongs to a program: it is not part of velto::velto and is not
# installed.
function(velto_layer name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "INTERNAL" "" "SOURCES;LINKS")
  set(target velto_${name})
  set(folder ${CMAKE_CURRENT_SOURCE_DIR})
  cmake_path(RELATIVE_PATH folder BASE_DIRECTORY ${PROJECT_SOURCE_DIR})

  add_library(${target} STATIC ${arg_SOURCES})
  add_library(velto::${name} ALIAS ${target})
  set_target_properties(${target} PROPERTIES EXPORT_NAME ${name})
  target_compile_features(${target} PUBLIC cxx_std_20)
  velto_view(${target} ${folder})
  add_dependencies(${target} velto_headers)
  target_link_libraries(${target} PUBLIC ${arg_LINKS} PRIVATE $<BUILD_INTERFACE:velto_options>)

  if(NOT arg_INTERNAL)
    target_include_directories(${target} PUBLIC
      $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
    target_link_libraries(velto_all INTERFACE ${target})
    set_property(GLOBAL APPEND PROPERTY VELTO_LAYERS ${target})
  endif()
endfunction()
