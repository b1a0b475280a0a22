# What `make install` and the packages contain. TARN_PACKAGE chooses the layout:
#   (empty)   the folders of GNUInstallDirs below the prefix
#   archive   everything in one folder, for .tar.gz and .zip
#   deb       a Debian package of two programs: this build, and the one that TARN_SECOND_PROGRAM names
set(TARN_PACKAGE "" CACHE STRING "Layout of the installation: empty, archive or deb")
set(TARN_SECOND_PROGRAM "" CACHE FILEPATH "deb: the program for newer processors, installed as tarn-x86-64-v3")
set(TARN_MAINTAINER "Ilse Marrow <tarn@localhost>" CACHE STRING "deb: maintainer of the package")
set(CMAKE_INSTALL_DOCDIR share/doc/tarn CACHE PATH "Documentation")
include(GNUInstallDirs)

set(PAGES ${CMAKE_SOURCE_DIR}/README.md)
if(EXISTS ${CMAKE_SOURCE_DIR}/CHANGELOG.md)
  list(APPEND PAGES ${CMAKE_SOURCE_DIR}/CHANGELOG.md)
endif()

# The manual page is made from README's tables. Without Python it is left out.
find_package(Python3 COMPONENTS Interpreter QUIET)
set(MANUAL_PAGE ${CMAKE_BINARY_DIR}/tarn.6)
if(Python3_FOUND)
  execute_process(COMMAND ${Python3_EXECUTABLE} ${CMAKE_SOURCE_DIR}/scripts/make_man.py ${MANUAL_PAGE}
                  COMMAND_ERROR_IS_FATAL ANY)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/README.md
               ${CMAKE_SOURCE_DIR}/scripts/make_man.py)
elseif(TARN_PACKAGE STREQUAL "deb")
  message(FATAL_ERROR "The package needs Python for its manual page")
endif()

# Packed programs have no symbols.
if(TARN_PACKAGE)
  target_link_options(tarn PRIVATE -s)
endif()

if(TARN_PACKAGE STREQUAL "archive")
  install(TARGETS tarn RUNTIME DESTINATION .)
  install(FILES ${PAGES} DESTINATION .)
  install(DIRECTORY ${CMAKE_SOURCE_DIR}/docs DESTINATION .)
  if(NOT WIN32)
    install(FILES ${CMAKE_SOURCE_DIR}/packaging/tarn.eng DESTINATION .)
    if(Python3_FOUND)
      install(FILES ${MANUAL_PAGE} DESTINATION .)
    endif()
  endif()
elseif(TARN_PACKAGE STREQUAL "deb")
  find_program(GZIP gzip REQUIRED)
  # gzip_file(FILE NAME): compresses FILE to build/.../NAME without time and name, as Debian asks.
  function(gzip_file file name)
    execute_process(COMMAND ${GZIP} -9nc ${file} OUTPUT_FILE ${CMAKE_BINARY_DIR}/${name} COMMAND_ERROR_IS_FATAL ANY)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${file})
  endfunction()
  gzip_file(${MANUAL_PAGE} tarn.6.gz)
  gzip_file(${CMAKE_SOURCE_DIR}/packaging/debian/changelog changelog.Debian.gz)
  set(CHANGES ${CMAKE_BINARY_DIR}/changelog.Debian.gz)
  if(EXISTS ${CMAKE_SOURCE_DIR}/CHANGELOG.md)
    gzip_file(${CMAKE_SOURCE_DIR}/CHANGELOG.md changelog.gz)
    list(APPEND CHANGES ${CMAKE_BINARY_DIR}/changelog.gz)
  endif()
  install(PROGRAMS ${CMAKE_SOURCE_DIR}/packaging/debian/tarn.sh DESTINATION games RENAME tarn)
  install(PROGRAMS $<TARGET_FILE:tarn> DESTINATION libexec/tarn RENAME tarn-x86-64)
  install(PROGRAMS ${TARN_SECOND_PROGRAM} DESTINATION libexec/tarn RENAME tarn-x86-64-v3)
  install(FILES ${CMAKE_BINARY_DIR}/tarn.6.gz DESTINATION share/man/man6)
  install(FILES ${CHANGES} ${CMAKE_SOURCE_DIR}/packaging/debian/copyright ${CMAKE_SOURCE_DIR}/README.md
          DESTINATION share/doc/tarn)
  install(DIRECTORY ${CMAKE_SOURCE_DIR}/docs DESTINATION share/doc/tarn)
  install(FILES ${CMAKE_SOURCE_DIR}/packaging/debian/lintian-overrides DESTINATION share/lintian/overrides RENAME tarn)
  # XBoard finds engines here; the folder names the protocol.
  install(FILES ${CMAKE_SOURCE_DIR}/packaging/tarn.eng DESTINATION share/games/plugins/uci)
  set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
elseif(TARN_PACKAGE STREQUAL "")
  install(TARGETS tarn RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  install(FILES ${PAGES} DESTINATION ${CMAKE_INSTALL_DOCDIR})
  install(DIRECTORY ${CMAKE_SOURCE_DIR}/docs DESTINATION ${CMAKE_INSTALL_DOCDIR})
  if(NOT WIN32)
    if(Python3_FOUND)
      install(FILES ${MANUAL_PAGE} DESTINATION ${CMAKE_INSTALL_MANDIR}/man6)
    endif()
    install(FILES ${CMAKE_SOURCE_DIR}/packaging/tarn.eng DESTINATION ${CMAKE_INSTALL_DATADIR}/games/plugins/uci)
  endif()
else()
  message(FATAL_ERROR "TARN_PACKAGE is ${TARN_PACKAGE}; it must be empty, archive or deb")
endif()

string(TOLOWER ${CMAKE_SYSTEM_NAME} SYSTEM)
set(CPACK_PACKAGE_NAME tarn)
set(CPACK_PACKAGE_VENDOR "Ilse Marrow")
set(CPACK_PACKAGE_CONTACT ${TARN_MAINTAINER})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "chess engine with a neural network")
set(CPACK_PACKAGE_DESCRIPTION
    "Tarn plays and analyses chess for a chess interface through the UCI protocol.
It searches with several threads and scores positions by a neural network
that is built in, or by a hand-crafted evaluation. It plays from Polyglot
books, probes Syzygy tablebases, plays Chess960 and can limit its strength.
A console for people and tools for test suites, books and training data are
included.")
set(CPACK_PACKAGE_FILE_NAME tarn-${PROJECT_VERSION}-${SYSTEM}-${TARN_ARCH})
string(REPLACE armv8-a arm64 CPACK_PACKAGE_FILE_NAME ${CPACK_PACKAGE_FILE_NAME})
set(CPACK_THREADS 1)  # the same bytes every time
# The times of all packed files are SOURCE_DATE_EPOCH, where it is set.
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_SOURCE_DIR}/cmake/set_times.cmake)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SECTION games)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "xboard | cutechess")
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
    WORLD_READ WORLD_EXECUTE)
include(CPack)
