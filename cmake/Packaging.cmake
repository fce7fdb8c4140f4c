# Install rules and the Debian package of the whole system, made by CPack:
#
#   cmake -B build/package -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=/usr
#   cmake --build build/package --target package
#
# scripts/check-package.sh does this, then installs and tries the package. The
# layout (programs, private component folder, operators' shared folder) is in
# cmake/InstallLayout.cmake; the desktop entries, icons, manual pages and
# maintainer scripts are in packaging/.

set(LUMAREX_PACKAGE_NAME lumarex)
set(LUMAREX_PACKAGE_PREFIX /usr)
set(LUMAREX_COMPONENT_PATH "${LUMAREX_PACKAGE_PREFIX}/${LUMAREX_INSTALL_COMPONENTDIR}")
set(LUMAREX_DOCDIR "${CMAKE_INSTALL_DATAROOTDIR}/doc/${LUMAREX_PACKAGE_NAME}")
set(LUMAREX_PACKAGING_OUT "${CMAKE_BINARY_DIR}/packaging-files")

if(NOT CMAKE_INSTALL_PREFIX STREQUAL LUMAREX_PACKAGE_PREFIX)
  message(STATUS "Packaging: CMAKE_INSTALL_PREFIX is ${CMAKE_INSTALL_PREFIX}; a package build wants "
                 "${LUMAREX_PACKAGE_PREFIX} (for the multiarch library folder)")
endif()

# The programs; the command-line tool once it is part of the build.
install(TARGETS Lumarex lumarex-emulator RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
if(TARGET qmdvars)
  install(TARGETS qmdvars RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

# Component libraries are loaded by path from their private folder, never
# linked, so the programs need no RPATH; a library is not executable.
get_property(lumarex_components GLOBAL PROPERTY LUMAREX_COMPONENT_LIBRARIES)
foreach(component IN LISTS lumarex_components)
  get_target_property(component_dir ${component} SOURCE_DIR)
  if(NOT component_dir MATCHES "^${CMAKE_SOURCE_DIR}/tests")
    install(TARGETS ${component} LIBRARY DESTINATION ${LUMAREX_INSTALL_COMPONENTDIR}
            PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
  endif()
endforeach()
install(TARGETS lumarex-register RUNTIME DESTINATION ${LUMAREX_INSTALL_COMPONENTDIR})

# Desktop entries and icons.
install(FILES packaging/lumarex.desktop packaging/lumarex-emulator.desktop
        DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/applications)
install(FILES packaging/icons/lumarex.svg packaging/icons/lumarex-emulator.svg
        DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/icons/hicolor/scalable/apps)

# Files made at build time: manual pages with the installed paths filled in,
# and the package's change log, all compressed reproducibly (gzip -n).
set(CPACK_DEBIAN_PACKAGE_NAME ${LUMAREX_PACKAGE_NAME})
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "Morvel Display Systems <packages@morvel-displays.example>")
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(LUMAREX_DEBIAN_VERSION "${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}")
# Honours SOURCE_DATE_EPOCH, so a rebuild of one version gives the same file.
string(TIMESTAMP LUMAREX_CHANGELOG_DATE "%a, %d %b %Y %H:%M:%S +0000" UTC)

set(lumarex_gzipped)
function(lumarex_gzip_configured source name)
  configure_file(${source} ${LUMAREX_PACKAGING_OUT}/${name} @ONLY)
  add_custom_command(OUTPUT ${LUMAREX_PACKAGING_OUT}/${name}.gz
    COMMAND gzip -9 -n -f -k ${name}
    DEPENDS ${LUMAREX_PACKAGING_OUT}/${name}
    WORKING_DIRECTORY ${LUMAREX_PACKAGING_OUT} VERBATIM)
  set(lumarex_gzipped ${lumarex_gzipped} ${LUMAREX_PACKAGING_OUT}/${name}.gz PARENT_SCOPE)
endfunction()

set(lumarex_manpages Lumarex.1 lumarex-emulator.1)
if(TARGET qmdvars)
  list(APPEND lumarex_manpages qmdvars.1)
endif()
foreach(page IN LISTS lumarex_manpages)
  lumarex_gzip_configured(${CMAKE_SOURCE_DIR}/packaging/man/${page} ${page})
  install(FILES ${LUMAREX_PACKAGING_OUT}/${page}.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
endforeach()
lumarex_gzip_configured(${CMAKE_SOURCE_DIR}/packaging/debian/changelog.in changelog.Debian)
add_custom_target(lumarex_packaging_files ALL DEPENDS ${lumarex_gzipped})

# Documents.
install(FILES ${LUMAREX_PACKAGING_OUT}/changelog.Debian.gz packaging/debian/copyright DESTINATION ${LUMAREX_DOCDIR})
install(FILES README.md docs/install.md docs/architecture.md docs/protocol.md docs/displays-dat.md
        DESTINATION ${LUMAREX_DOCDIR})
if(EXISTS ${CMAKE_SOURCE_DIR}/docs/qmdvars.md)
  install(FILES docs/qmdvars.md docs/watch.md docs/api.md packaging/qmdvars-watch.service
                packaging/qmdvars-serve.service DESTINATION ${LUMAREX_DOCDIR})
endif()

# Maintainer scripts: the operators' group and folder, registration.
foreach(script postinst prerm postrm)
  configure_file(packaging/debian/${script}.in ${LUMAREX_PACKAGING_OUT}/${script} @ONLY)
endforeach()

# The package.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME ${LUMAREX_PACKAGE_NAME})
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "Morvel Display Systems")
set(CPACK_PACKAGE_CONTACT "${CPACK_DEBIAN_PACKAGE_MAINTAINER}")
set(CPACK_PACKAGING_INSTALL_PREFIX ${LUMAREX_PACKAGE_PREFIX})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "LED message display controller with a variable plug-in")
# The summary above is the synopsis line; this is the extended description.
set(CPACK_PACKAGE_DESCRIPTION "Lumarex composes playfiles and transmits them to LED message displays over
serial lines, modems and TCP. Its variable plug-in manages the 416 variables
the displays substitute into their messages: names, data and attributes,
variable files, and updates of many displays now or on a schedule, with
failed displays retried.

The package holds the host, an emulated LED display for trying it without
hardware, and the component libraries. Operators in the group
${LUMAREX_OPERATORS_GROUP} share the machine-wide settings, the display list
and the variable file in ${LUMAREX_SHARED_DIR}.")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION electronics)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# Library dependencies come from the binaries; the group is made with addgroup.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "adduser")
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA
    ${LUMAREX_PACKAGING_OUT}/postinst ${LUMAREX_PACKAGING_OUT}/prerm ${LUMAREX_PACKAGING_OUT}/postrm)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION TRUE)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
include(CPack)
