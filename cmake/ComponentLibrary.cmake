# A component library: a shared library that exports the four component entry
# points (DllGetClassObject, DllCanUnloadNow, DllRegisterServer,
# DllUnregisterServer) and nothing else, and has no undefined symbols.
set(LUMAREX_COMPONENT_EXPORTS ${CMAKE_CURRENT_LIST_DIR}/component-exports.map)

function(lumarex_component_library name)
  cmake_parse_arguments(C "" "" "SOURCES;LIBS" ${ARGN})
  add_library(${name} SHARED ${C_SOURCES})
  target_link_libraries(${name} PRIVATE lumarex_common platform_core ${C_LIBS})
  target_link_options(${name} PRIVATE
    -Wl,--version-script=${LUMAREX_COMPONENT_EXPORTS} -Wl,--no-undefined)
  set_target_properties(${name} PROPERTIES LINK_DEPENDS ${LUMAREX_COMPONENT_EXPORTS})
  # The package installs every component library (cmake/Packaging.cmake).
  set_property(GLOBAL APPEND PROPERTY LUMAREX_COMPONENT_LIBRARIES ${name})
endfunction()
