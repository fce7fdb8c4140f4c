# Where an installed system keeps its parts. Included before the targets, since
# the programs are built knowing how to find their component libraries and the
# operators' shared folder once installed.
#
#   bin/                                Lumarex, lumarex-emulator, qmdvars
#   <libdir>/lumarex/                   the component libraries (plug-ins and the
#                                       host's controls) and the registration helper
#   LUMAREX_SHARED_DIR (/var/lib/lumarex)
#                                       machine-wide settings, Displays.dat, the
#                                       default variable file; group-writable by
#                                       LUMAREX_OPERATORS_GROUP
#
# The multiarch library folder (lib/x86_64-linux-gnu) is chosen by GNUInstallDirs
# when CMAKE_INSTALL_PREFIX is /usr, as the package build configures it.
include(GNUInstallDirs)

set(LUMAREX_SHARED_DIR "/var/lib/lumarex" CACHE PATH "The operators' shared folder of an installed system")
set(LUMAREX_OPERATORS_GROUP "lumarex" CACHE STRING "The group whose members may write the shared folder")
set(LUMAREX_INSTALL_COMPONENTDIR "${CMAKE_INSTALL_LIBDIR}/lumarex")
file(RELATIVE_PATH LUMAREX_COMPONENTS_FROM_PROGRAMS "/${CMAKE_INSTALL_BINDIR}" "/${LUMAREX_INSTALL_COMPONENTDIR}")
