# Installation and Debian packages.
#
#   cmake --install <build> --prefix <dir>     library, header, tool, man page,
#                                              pkg-config file, CMake package
#   cpack --config <build>/CPackConfig.cmake   lib<name><soversion> and -dev .debs
#
# The runtime component holds the shared object and its soname link; the dev
# component holds the linker name libkelvmpx.so, the header, the pkg-config
# and CMake package files, and the kelvm tool with its manual page.
include(CMakePackageConfigHelpers)

set(KELVM_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/kelvmpx)

install(TARGETS kelvmpx EXPORT kelvmpxTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev)
install(FILES ${CMAKE_CURRENT_SOURCE_DIR}/include/kelvm.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev)
install(TARGETS kelvm RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT dev)
install(FILES ${CMAKE_CURRENT_SOURCE_DIR}/docs/kelvm.1
        DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT dev)

# CMake package: find_package(kelvmpx) gives the imported target
# kelvmpx::kelvmpx.  The version file accepts requests of the same major and
# minor version (the soname changes with either) and, as usual, only a
# consumer with the same pointer size: an i386 library for -m32 projects.
install(EXPORT kelvmpxTargets NAMESPACE kelvmpx:: DESTINATION ${KELVM_CMAKE_DIR} COMPONENT dev)
configure_package_config_file(${CMAKE_CURRENT_SOURCE_DIR}/cmake/kelvmpxConfig.cmake.in
                              ${CMAKE_CURRENT_BINARY_DIR}/kelvmpxConfig.cmake
                              INSTALL_DESTINATION ${KELVM_CMAKE_DIR})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/kelvmpxConfigVersion.cmake
                                 VERSION ${PROJECT_VERSION} COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/kelvmpxConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/kelvmpxConfigVersion.cmake
        DESTINATION ${KELVM_CMAKE_DIR} COMPONENT dev)

# pkg-config file.  Its prefix is the one given at install time
# (cmake --install --prefix, or the packaging prefix under CPack), not the one
# configured, so it is written by the install script itself.
set(kelvm_pc ${CMAKE_CURRENT_BINARY_DIR}/kelvmpx.pc.installed)
install(CODE "
  set(KELVM_PC_PREFIX \"\${CMAKE_INSTALL_PREFIX}\")
  set(KELVM_PC_LIBDIR \"${CMAKE_INSTALL_LIBDIR}\")
  set(KELVM_PC_INCLUDEDIR \"${CMAKE_INSTALL_INCLUDEDIR}\")
  set(KELVM_PC_VERSION \"${PROJECT_VERSION}\")
  configure_file(\"${CMAKE_CURRENT_SOURCE_DIR}/cmake/kelvmpx.pc.in\" \"${kelvm_pc}\" @ONLY)
" COMPONENT dev)
install(FILES ${kelvm_pc} RENAME kelvmpx.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)

# ---- Debian packages --------------------------------------------------------
if(PROJECT_IS_TOP_LEVEL)
  if(KELVM_I386)
    set(kelvm_deb_arch i386)
  else()
    set(kelvm_deb_arch amd64)
  endif()
  set(kelvm_runtime_pkg libkelvmpx${PROJECT_VERSION})
  set(CPACK_GENERATOR DEB)
  set(CPACK_PACKAGE_NAME kelvmpx)
  set(CPACK_PACKAGE_VENDOR "libkelvmpx developers")
  set(CPACK_PACKAGE_CONTACT "libkelvmpx developers <libkelvmpx@localhost>")
  set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "vector elementary math for 32-bit x86, computed in the x87 unit")
  set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
  set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
  set(CPACK_COMPONENTS_ALL runtime dev)
  set(CPACK_DEB_COMPONENT_INSTALL ON)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${kelvm_deb_arch})
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${kelvm_runtime_pkg})
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
  set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "vector elementary math for 32-bit x86, computed in the x87 unit
 The shared library libkelvmpx.so.${PROJECT_VERSION}; it depends on no other library.")
  # A shlibs file and the ldconfig trigger for the package with the library.
  set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
  set(CPACK_DEBIAN_DEV_PACKAGE_NAME libkelvmpx-dev)
  set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
  set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "${kelvm_runtime_pkg} (= ${PROJECT_VERSION}), libc6")
  set(CPACK_DEBIAN_DEV_DESCRIPTION "vector elementary math for 32-bit x86: development files and the kelvm tool
 The header kelvm.h, the linker name libkelvmpx.so, pkg-config and CMake package
 files, and kelvm, which calls any function of the library from the command line.")
  # Packages hold the library in the multiarch directory, which GNUInstallDirs
  # chooses when the build is configured with the prefix /usr; cpack checks it.
  set(kelvm_pkg_libdir lib/${CMAKE_LIBRARY_ARCHITECTURE})
  set(CPACK_PROJECT_CONFIG_FILE ${CMAKE_CURRENT_BINARY_DIR}/CPackCheck.cmake)
  file(WRITE ${CPACK_PROJECT_CONFIG_FILE} "
if(NOT \"${CMAKE_INSTALL_LIBDIR}\" STREQUAL \"${kelvm_pkg_libdir}\")
  message(FATAL_ERROR \"The packages put the library in /usr/${kelvm_pkg_libdir}, but this build \"
                      \"installs it in <prefix>/${CMAKE_INSTALL_LIBDIR}: configure it with \"
                      \"-DCMAKE_INSTALL_PREFIX=/usr to make packages.\")
endif()
")
  include(CPack)
endif()
