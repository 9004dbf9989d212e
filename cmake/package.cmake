# The installed package: headers under include/velto, static libraries, the module for C, the program, documentation,
# examples, and what find_package(velto) and pkg-config read. All of it may be moved after the
# install.

get_property(layers GLOBAL PROPERTY VELTO_LAYERS)

install(TARGETS velto_all ${layers} EXPORT velto-targets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(TARGETS velto_module EXPORT velto-targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES module/velto.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
if(TARGET velto)
  install(TARGETS velto RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
install(DIRECTORY ${VELTO_INCLUDE}/velto DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DATADIR}/velto)
install(DIRECTORY python/examples/ DESTINATION ${CMAKE_INSTALL_DATADIR}/velto/examples/python)
install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES README.md CHANGELOG.md CONTRIBUTING.md LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})

# The package needs no other one, so that the list of its targets is all of its configuration.
include(CMakePackageConfigHelpers)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/velto)
install(EXPORT velto-targets NAMESPACE velto:: DESTINATION ${package_dir} FILE velto-config.cmake)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/velto-config-version.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/velto-config-version.cmake DESTINATION ${package_dir})

# A linker wants a library before those it needs: the layers from the top down.
list(REVERSE layers)
list(TRANSFORM layers PREPEND -l OUTPUT_VARIABLE archives)
list(JOIN archives " " VELTO_ARCHIVES)
set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX
  BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX}/${pkgconfig_dir} OUTPUT_VARIABLE VELTO_PREFIX)
configure_file(cmake/velto.pc.in velto.pc @ONLY)
configure_file(cmake/velto-c.pc.in velto-c.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/velto.pc ${PROJECT_BINARY_DIR}/velto-c.pc
  DESTINATION ${pkgconfig_dir})
