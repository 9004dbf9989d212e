# One library per folder. A library sees its own folder and those it links, and no other: its
# include directory holds a single link named after the folder, so that an include of a layer
# that is not linked does not build.

# What every target of ours is compiled with; private, so that it never reaches a user's build.
add_library(velto_options INTERFACE)
target_compile_options(velto_options INTERFACE -Wall -Wextra -Wconversion -Wshadow)
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # "text" + std::string makes optimised builds warn of overlapping copies that can't happen.
  target_compile_options(velto_options INTERFACE -Wno-restrict)
endif()
if(VELTO_SANITIZE)
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
  target_include_directories(${target} PUBLIC $<BUILD_INTERFACE:${view}>)
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
  target_link_libraries(${target} PUBLIC ${arg_LINKS} PRIVATE $<BUILD_INTERFACE:velto_options>)

  if(NOT arg_INTERNAL)
    target_include_directories(${target} PUBLIC
      $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/velto>)
    target_link_libraries(velto_all INTERFACE ${target})
    set_property(GLOBAL APPEND PROPERTY VELTO_LAYERS ${target})
    set_property(GLOBAL APPEND PROPERTY VELTO_FOLDERS ${folder})
  endif()
endfunction()
