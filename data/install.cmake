# What `cmake --install` puts under the prefix, and the Debian package `make package` builds
# from the same rules:
#   bin/lumivaxel
#   lib/libvemo.so (and its versioned names), lib/pkgconfig/vemo.pc
#   lib/lumivaxel/windows.so             (the preview and editing windows, loaded by the program)
#   lib/lumivaxel/plugins/*.so           (added by plugins/common/plugin.cmake)
#   include/lumivaxel/vemodll.h and the public headers under core/ time/ media/ effects/ engine/
#   share/man/man1/lumivaxel.1, share/mime/packages/lumi-vaxel.xml,
#   share/applications/lumi-vaxel.desktop

install(TARGETS vemo LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(TARGETS lumivaxel RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(TARGETS windows LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/lumivaxel)

# The headers a host compiles against: the umbrella header and everything it includes. The
# decoders' and kernels' own headers stay inside the engine.
install(FILES ${CMAKE_SOURCE_DIR}/src/vemodll.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/lumivaxel)
install(DIRECTORY
    ${CMAKE_SOURCE_DIR}/src/core ${CMAKE_SOURCE_DIR}/src/time ${CMAKE_SOURCE_DIR}/src/media
    ${CMAKE_SOURCE_DIR}/src/effects ${CMAKE_SOURCE_DIR}/src/engine ${CMAKE_SOURCE_DIR}/src/macro
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/lumivaxel
  FILES_MATCHING PATTERN "*.h"
  PATTERN "ffdecoder.h" EXCLUDE PATTERN "ffinput.h" EXCLUDE PATTERN "imagebytes.h" EXCLUDE
  PATTERN "kernels.h" EXCLUDE PATTERN "logos.h" EXCLUDE PATTERN "rows.h" EXCLUDE PATTERN "text.h" EXCLUDE
  PATTERN "matrixwalk.h" EXCLUDE PATTERN "keptrecord.h" EXCLUDE PATTERN "sampling.h" EXCLUDE)

configure_file(${CMAKE_SOURCE_DIR}/data/vemo.pc.in ${CMAKE_BINARY_DIR}/vemo.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/vemo.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
install(FILES ${CMAKE_SOURCE_DIR}/data/lumivaxel.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES ${CMAKE_SOURCE_DIR}/data/lumi-vaxel.xml DESTINATION ${CMAKE_INSTALL_DATADIR}/mime/packages)
install(FILES ${CMAKE_SOURCE_DIR}/data/lumi-vaxel.desktop DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)

# The Debian package: installed under /usr, its dependencies read from the shared libraries it
# links (dpkg-shlibdeps), libvemo itself being part of the package.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME lumivaxel)
set(CPACK_PACKAGE_VENDOR "kor.vale.lab")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Media compositor engine, command-line host and export plugins")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "Lumi-Vaxel developers <lumivaxel@kor.vale.lab>")
set(CPACK_DEBIAN_PACKAGE_SECTION video)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_BINARY_DIR}/lib)
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR}/package)
include(CPack)
