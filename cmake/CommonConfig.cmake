# Flags shared by every target of the project.
add_library(lumarex_common INTERFACE)
target_compile_options(lumarex_common INTERFACE -Wall -Wextra)
target_compile_definitions(lumarex_common INTERFACE
  QT_NO_CAST_FROM_BYTEARRAY
  QT_NO_URL_CAST_FROM_STRING
  QT_USE_QSTRINGBUILDER
  $<$<CONFIG:Debug>:_GLIBCXX_ASSERTIONS>)

option(LUMAREX_SANITIZE "Build with AddressSanitizer and UndefinedBehaviorSanitizer" OFF)
if(LUMAREX_SANITIZE)
  target_compile_options(lumarex_common INTERFACE -fsanitize=address,undefined -fno-omit-frame-pointer)
  target_link_options(lumarex_common INTERFACE -fsanitize=address,undefined)
endif()

# Fuzz builds (clang): every library is instrumented for libFuzzer and checked
# by the sanitizers; the fuzz targets themselves link the fuzzer's main.
option(LUMAREX_FUZZ "Build the libFuzzer targets under fuzz/ (clang)" OFF)
if(LUMAREX_FUZZ)
  target_compile_options(lumarex_common INTERFACE -fsanitize=fuzzer-no-link,address,undefined -fno-omit-frame-pointer)
  target_link_options(lumarex_common INTERFACE -fsanitize=address,undefined)
endif()

# Adds a Qt Test executable as a CTest test that runs offscreen with its own
# settings stores, and fails fast when a modal dialog is left open.
function(lumarex_add_test name)
  cmake_parse_arguments(T "" "TIMEOUT" "SOURCES;LIBS" ${ARGN})
  if(NOT T_TIMEOUT)
    set(T_TIMEOUT 60)
  endif()
  add_executable(${name} ${T_SOURCES})
  target_link_libraries(${name} PRIVATE lumarex_common testsupport Qt6::Test ${T_LIBS})
  add_test(NAME ${name} COMMAND ${name})
  set_tests_properties(${name} PROPERTIES
    TIMEOUT ${T_TIMEOUT}
    ENVIRONMENT "QT_QPA_PLATFORM=offscreen;ASAN_OPTIONS=detect_leaks=0;UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1")
endfunction()

# `check` runs the tests of this build; `format` applies .clang-format.
add_custom_target(check COMMAND ${CMAKE_CTEST_COMMAND} --output-on-failure -j2
  WORKING_DIRECTORY ${CMAKE_BINARY_DIR} USES_TERMINAL)
find_program(CLANG_FORMAT clang-format)
if(CLANG_FORMAT)
  add_custom_target(format
    COMMAND git ls-files -z -- '*.cpp' '*.h' | xargs -0 ${CLANG_FORMAT} -i
    WORKING_DIRECTORY ${CMAKE_SOURCE_DIR})
endif()
